// GenicamXmlTest.cpp - the GenICam description: well-formed, complete, and the same as the feature table.
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

std::string Text(const XMLElement* node, const char* child) {
    const XMLElement* found = node->FirstChildElement(child);
    return found == nullptr ? "" : found->GetText();
}

void ExpectSameAsTable(const std::map<std::string, const XMLElement*>& nodes, const CFeatureMap& map,
                       const MappedFeature& feature) {
    const FeatureRow& row = *feature.m_row;
    SCOPED_TRACE(row.m_name);
    const XMLElement* node = nodes.at(row.m_name);
    const bool isOwn = row.m_type == EFeatureType::String || row.m_type == EFeatureType::Register;
    const XMLElement* reg = isOwn ? node : nodes.at(std::string(row.m_name) + "Reg");
    EXPECT_EQ(std::stoul(Text(reg, "Address"), nullptr, 16), feature.m_address);
    EXPECT_EQ(Text(reg, "Length"), std::to_string(row.m_lengthBytes));
    EXPECT_EQ(Text(reg, "AccessMode") == "RO", row.m_access == EAccess::ReadOnly);
    EXPECT_EQ(reg->FirstChildElement("pIndex") != nullptr, feature.m_slots > 1);
    if (row.m_type == EFeatureType::Integer) {
        EXPECT_EQ(Text(node, "Min"), std::to_string(row.m_min));
        EXPECT_EQ(Text(node, "Max"), std::to_string(row.m_max));
        EXPECT_EQ(Text(node, "Inc"), std::to_string(row.m_inc));
    }
    size_t entries = 0;
    ForEach(node, "EnumEntry", [&](const XMLElement* entry) {
        const EnumEntry* wanted = map.EntryByName(row, entry->Attribute("Name"));
        EXPECT_TRUE(wanted != nullptr && Text(entry, "Value") == std::to_string(wanted->m_value));
        ++entries;
    });
    EXPECT_EQ(entries, map.EntriesOf(row).size());
}

TEST(GenicamXml, IsOneTreeThatAgreesWithTheTable) {
    for (const ETransport transport : {ETransport::GigE, ETransport::Usb}) {
        CameraConfig config = test::FakeConfig(transport);
        config.m_model = "A<B> & \"C\"";
        const test::CFakeCamera camera(config);
        tinyxml2::XMLDocument document;
        ASSERT_EQ(document.Parse(camera.Xml().c_str(), camera.Xml().size()), tinyxml2::XML_SUCCESS);
        std::map<std::string, const XMLElement*> nodes;
        ForEach(document.RootElement(), nullptr, [&](const XMLElement* node) {
            EXPECT_TRUE(nodes.emplace(node->Attribute("Name"), node).second) << node->Attribute("Name");
        });
        std::set<std::string> reached = {"Root", "Device"};
        for (const auto& [name, node] : nodes) {
            for (const char* const reference :
                 {"pFeature", "pValue", "pPort", "pIsLocked", "pSelected", "pIndex"}) {
                ForEach(node, reference, [&](const XMLElement* child) {
                    EXPECT_EQ(nodes.count(child->GetText()), 1U) << name << ": " << child->GetText();
                    reached.insert(child->GetText());
                });
            }
        }
        EXPECT_EQ(reached.size(), nodes.size()) << "a feature is in no category";
        const CFeatureMap map(transport);
        for (const MappedFeature& feature : map.Features()) {
            ExpectSameAsTable(nodes, map, feature);
        }
    }
}

TEST(FeatureMap, GivesNoByteToTwoFeaturesExceptFieldsOfOneRegister) {
    for (const ETransport transport : {ETransport::GigE, ETransport::Usb}) {
        std::map<uint32_t, const MappedFeature*> owners;
        const CFeatureMap map(transport);
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
