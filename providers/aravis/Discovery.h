// Discovery.h - finds GigE Vision cameras behind every interface, also those whose address belongs elsewhere.
#ifndef OX3D_ARAVIS_DISCOVERY_H
#define OX3D_ARAVIS_DISCOVERY_H

#include <optional>
#include <vector>

#include <ox3drgbd/OxCameraControl.h>

namespace ox3d {

// Cameras answer within some ten milliseconds, but may take their time in a crowd. Every camera that answers
// within this time is found; the search goes on after that only while cameras come in or none is found.
constexpr int kUsualAnswerMs = 400;
constexpr int kLongestSearchMs = 1000;
// For so long after such a search the next ones end once all of its cameras have answered and no other camera has
// for the second time: listing cameras and then opening one takes a single whole search.
constexpr int kLatelyMs = 3000;
constexpr int kNoOtherMs = 50;

// One record for each camera, in the order of their addresses, with the host's address in nNetExport.
std::vector<OX_CC_DEVICE_INFO> DiscoverGigE();

// The camera with this hardware address as it is now.
std::optional<OX_CC_DEVICE_INFO> FindByMac(uint64_t mac);

// Of two answers of one camera through different interfaces, whether the first is the better way to it.
bool IsBetterWay(const OX_CC_DEVICE_INFO& a, const OX_CC_DEVICE_INFO& b);

// Asks the camera, wherever it is, to take the address. Whether it did is not known from this.
void BroadcastForceIp(uint64_t mac, uint32_t ip, uint32_t mask, uint32_t gateway);

} // namespace ox3d

#endif
