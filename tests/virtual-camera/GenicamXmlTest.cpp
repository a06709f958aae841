// GenicamXmlTest.cpp - the GenICam description: well-formed, complete, and the same as the feature table.
#include <gtest/gtest.h>
#include <tinyxml2.h>

#include <map>
#include <set>

#include "tests/virtual-camera/FakeSource.h"

using namespace ox3d;
using ox3d::test::CFakeCamera;
using ox3d::test::FakeConfig;
using tinyxml2::XMLElement;

namespace {

class GenicamXml : public testing::TestWithParam<ETransport> {
protected:
    void SetUp() override {
        CameraConfig config = FakeConfig(GetParam());
        config.m_model = "A<B> & \"C\"";
        const CFakeCamera camera(config);
        ASSERT_EQ(m_document.Parse(camera.Xml().c_str(), camera.Xml().size()), tinyxml2::XML_SUCCESS);
        for (const XMLElement* node = m_document.RootElement()->FirstChildElement(); node != nullptr;
             node = node->NextSiblingElement()) {
            const bool isNew = m_nodes.emplace(node->Attribute("Name"), node).second;
            EXPECT_TRUE(isNew) << node->Attribute("Name") << " stands twice";
            for (const XMLElement* child = node->FirstChildElement("pFeature"); child != nullptr;
                 child = child->NextSiblingElement("pFeature")) {
                m_members.insert(std::string(node->Attribute("Name")) + '/' + child->GetText());
            }
        }
    }
    static std::string Text(const XMLElement* node, const char* child) {
        const XMLElement* found = node->FirstChildElement(child);
        return found == nullptr || found->GetText() == nullptr ? "" : found->GetText();
    }

    tinyxml2::XMLDocument m_document;
    std::map<std::string, const XMLElement*> m_nodes;
    std::set<std::string> m_members; // category/feature
};

TEST_P(GenicamXml, RefersOnlyToNodesThatExist) {
    const std::set<std::string> references = {"pFeature",  "pValue",    "pPort",
                                              "pIsLocked", "pSelected", "pIndex"};
    for (const auto& [name, node] : m_nodes) {
        for (const XMLElement* child = node->FirstChildElement(); child != nullptr;
             child = child->NextSiblingElement()) {
            if (references.count(child->Name()) != 0) {
                EXPECT_EQ(m_nodes.count(child->GetText()), 1u) << name << " refers to " << child->GetText();
            }
        }
    }
}

TEST_P(GenicamXml, AgreesWithTheTableAboutTypesRangesEntriesAndRegisters) {
    const CFeatureMap map(GetParam());
    for (const MappedFeature& feature : map.Features()) {
        const FeatureRow& row = *feature.m_row;
        SCOPED_TRACE(row.m_name);
        const XMLElement* node = m_nodes.at(row.m_name);
        EXPECT_EQ(m_members.count(std::string(row.m_category) + '/' + row.m_name), 1U);
        EXPECT_EQ(m_members.count(std::string("Root/") + row.m_category), 1U);
        const bool isOwn = row.m_type == EFeatureType::String || row.m_type == EFeatureType::Register;
        const XMLElement* reg = isOwn ? node : m_nodes.at(std::string(row.m_name) + "Reg");
        EXPECT_EQ(std::stoul(Text(reg, "Address"), nullptr, 16), feature.m_address);
        EXPECT_EQ(Text(reg, "Length"), std::to_string(row.m_lengthBytes));
        if (row.m_access == EAccess::ReadOnly) {
            EXPECT_EQ(Text(reg, "AccessMode"), "RO");
        }
        if (row.m_type == EFeatureType::Integer) {
            EXPECT_STREQ(node->Name(), "Integer");
            EXPECT_EQ(Text(node, "Min") + "," + Text(node, "Max") + "," + Text(node, "Inc"),
                      std::to_string(row.m_min) + "," + std::to_string(row.m_max) + "," +
                          std::to_string(row.m_inc));
        }
        if (row.m_type == EFeatureType::Enumeration) {
            std::vector<EnumEntry> entries = map.EntriesOf(row);
            for (const XMLElement* entry = node->FirstChildElement("EnumEntry"); entry != nullptr;
                 entry = entry->NextSiblingElement("EnumEntry")) {
                std::erase_if(entries, [&](const EnumEntry& e) {
                    return entry->Attribute("Name", e.m_name) &&
                           Text(entry, "Value") == std::to_string(e.m_value);
                });
            }
            EXPECT_TRUE(entries.empty());
        }
        EXPECT_EQ(reg->FirstChildElement("pIndex") != nullptr, feature.m_slots > 1);
    }
}

INSTANTIATE_TEST_SUITE_P(Transports, GenicamXml, testing::Values(ETransport::GigE, ETransport::Usb));

TEST(FeatureMap, GivesNoByteToTwoFeaturesExceptFieldsOfOneRegister) {
    for (const ETransport transport : {ETransport::GigE, ETransport::Usb}) {
        const CFeatureMap map(transport);
        for (const MappedFeature& a : map.Features()) {
            for (const MappedFeature& b : map.Features()) {
                const bool isApart =
                    a.m_address + a.SpanBytes() <= b.m_address || b.m_address + b.SpanBytes() <= a.m_address;
                const bool areFields =
                    a.m_address == b.m_address && a.m_row->m_bits != 0 && b.m_row->m_bits != 0;
                EXPECT_TRUE(&a == &b || isApart || areFields)
                    << a.m_row->m_name << " and " << b.m_row->m_name;
            }
        }
    }
}

} // namespace
