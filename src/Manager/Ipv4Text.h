// Ipv4Text.h - whether a text is a dotted-quad IPv4 address.
#ifndef OX3D_IPV4_TEXT_H
#define OX3D_IPV4_TEXT_H

// 1 for four decimal groups of 1 to 3 digits, each at most 255, else 0 (null included). Leading zeros are
// accepted; signs, blanks and hexadecimal are not.
int IsValidIpv4(const char* text);

#endif
