// HttpFields.h - what a connection of libwebsockets tells of itself and of its request.
#ifndef OX3D_VIEWER_HTTP_FIELDS_H
#define OX3D_VIEWER_HTTP_FIELDS_H

#include <libwebsockets.h>
#include <map>
#include <string>

namespace ox3d::viewer {

std::string HeaderOf(lws* wsi, lws_token_indexes token);
// Of a header that libwebsockets has no number for, "name:"; empty where it is missing.
std::string HeaderNamed(lws* wsi, const std::string& name);
// The parts of the query, decoded.
std::map<std::string, std::string> QueryOf(lws* wsi);
// "GET"; empty for one that is not served.
std::string MethodOf(lws* wsi);

// IPv4 addresses of the two ends, as numbers with dots; empty where there is none.
std::string PeerAddressOf(lws_sockfd_type socket);
std::string LocalAddressOf(lws_sockfd_type socket);

} // namespace ox3d::viewer

#endif
