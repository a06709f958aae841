// Datagrams.h - what an attacker sends: random bytes, and valid packets of both protocols with some bytes changed.
#ifndef OX3D_FUZZ_NETWORK_DATAGRAMS_H
#define OX3D_FUZZ_NETWORK_DATAGRAMS_H

#include <random>

#include "gigevision/Wire.h"

namespace ox3d::attack {

using Dice = std::mt19937;

// Of the control protocol, to a camera; some are valid.
gige::Bytes ControlDatagram(Dice& dice);
// Of the stream protocol, to a client.
gige::Bytes StreamDatagram(Dice& dice);

} // namespace ox3d::attack

#endif
