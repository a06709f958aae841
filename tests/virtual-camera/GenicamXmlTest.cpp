// GenicamXmlTest.cpp - the GenICam description: well-formed and complete.
#include <gtest/gtest.h>
#include <tinyxml2.h>

#include <map>
#include <set>

#include "tests/virtual-camera/FakeSource.h"

using namespace ox3d;
using tinyxml2::XMLElement;

namespace {

// Calls for every child of a name, or for every child.
template <typename TCall>
void ForEach(const XMLElement* node, const char* name, TCall call) {
    for (const auto* child = node->FirstChildElement(name); child != nullptr;
         child = child->NextSiblingElement(name)) {
        call(child);
    }
}

// Of both transports, and of the standard's 3D model: with everything, and with the least.
std::vector<CameraConfig> Cameras() {
    std::vector<CameraConfig> cameras = {test::FakeConfig(ETransport::GigE),
                                         test::FakeConfig(ETransport::Usb), test::FakeConfig(),
                                         test::FakeConfig()};
    cameras[2].m_kind = cameras[3].m_kind = ECameraKind::Sfnc3d;
    cameras[2].m_scan3d.m_hasConfidence = true;
    cameras[3].m_scan3d = {EDepthKind::Disparity, EIntensityKind::None, EDistanceUnit::Untold, false, false};
    cameras.push_back(cameras[2]);
    cameras.back().m_scan3d.m_lens = ELensKind::Maps;
    return cameras;
}

CFeatureMap MapOf(const CameraConfig& config) {
    return CFeatureMap(config.m_transport,
                       config.m_kind == ECameraKind::Native ? kNativeTrait : TraitsOf(config.m_scan3d));
}

TEST(GenicamXml, IsOneTreeThatHoldsEveryFeature) {
    for (CameraConfig& config : Cameras()) {
        config.m_model = "A<B> & \"C\"";
        const test::CFakeCamera camera(config);
        tinyxml2::XMLDocument document;
        ASSERT_EQ(document.Parse(camera.Xml().c_str(), camera.Xml().size()), tinyxml2::XML_SUCCESS);
        const bool isGigE = config.m_transport == ETransport::GigE;
        EXPECT_STREQ(document.RootElement()->Attribute("ModelName"), "A_B_____C_");
        EXPECT_STREQ(document.RootElement()->Attribute("VendorName"), "Ox3d");
        EXPECT_STREQ(document.RootElement()->Attribute("StandardNameSpace"), isGigE ? "GEV" : "USB");
        std::map<std::string, const XMLElement*> nodes;
        ForEach(document.RootElement(), nullptr, [&](const XMLElement* node) {
            EXPECT_TRUE(nodes.emplace(node->Attribute("Name"), node).second) << node->Attribute("Name");
        });
        std::set<std::string> reached = {"Root", "Device"};
        for (const auto& node : nodes) {
            for (const char* const reference :
                 {"pFeature", "pValue", "pPort", "pIsLocked", "pSelected", "pIndex", "pMax", "pVariable"}) {
                ForEach(node.second, reference, [&](const XMLElement* child) {
                    EXPECT_EQ(nodes.count(child->GetText()), 1U) << node.first << ": " << child->GetText();
                    reached.insert(child->GetText());
                });
            }
        }
        ForEach(document.RootElement(), "Enumeration", [&](const XMLElement* node) {
            ForEach(node, "EnumEntry", [&](const XMLElement* entry) {
                ForEach(entry, "pIsAvailable",
                        [&](const XMLElement* child) { reached.insert(child->GetText()); });
            });
        });
        EXPECT_EQ(reached.size(), nodes.size());
        const CFeatureMap map = MapOf(config);
        for (const MappedFeature& feature : map.Features()) {
            EXPECT_EQ(reached.count(feature.m_row->m_name), 1U) << feature.m_row->m_name;
        }
    }
}

TEST(FeatureMap, GivesNoByteToTwoFeaturesExceptFieldsOfOneRegister) {
    for (const CameraConfig& config : Cameras()) {
        std::map<uint32_t, const MappedFeature*> owners;
        const CFeatureMap map = MapOf(config);
        for (const MappedFeature& feature : map.Features()) {
            for (uint32_t at = feature.m_address; at < feature.m_address + feature.SpanBytes(); ++at) {
                const MappedFeature* other = owners.emplace(at, &feature).first->second;
                const bool areFields = other->m_row->m_bits != 0 && feature.m_row->m_bits != 0;
                ASSERT_TRUE(other == &feature || areFields) << other->m_row->m_name;
            }
        }
    }
}

} // namespace
