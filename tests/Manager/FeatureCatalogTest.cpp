// The features of a camera's description: what is read, and what a description cannot do.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "src/Manager/FeatureCatalog.h"
#include <ox3drgbd/Ox3dRgbdExtension.h>

namespace {

using namespace ::testing;

std::string Described(const std::string& root, const std::string& nodes) {
    return "<R xmlns=\"x\"><Category Name=\"Root\">" + root + "</Category>" + nodes + "</R>";
}

std::vector<std::string> Names(const std::string& xml) {
    std::vector<std::string> names;
    for (const CatalogFeature& feature : ReadFeatureCatalog(xml)) {
        names.push_back(feature.m_category + ":" + feature.m_name);
    }
    return names;
}

TEST(FeatureCatalog, HasWhatTheDescriptionSaysOfEachFeature) {
    const auto features = ReadFeatureCatalog(
        Described("<pFeature> Image </pFeature>",
                  R"(<Category Name="Image"><pFeature>Deep</pFeature><pFeature>W</pFeature></Category>
<Category Name="Deep"><pFeature>Source</pFeature></Category>
<Group Comment="g"><StructReg><StructEntry Name="W"><ToolTip>a &amp; b</ToolTip><Unit>px</Unit></StructEntry></StructReg></Group>
<Enumeration Name="Source"><Description> more
</Description><DisplayName>The source</DisplayName><Visibility>Guru</Visibility>
<EnumEntry Name="A"><DisplayName>First</DisplayName><Value>0x1F</Value></EnumEntry><EnumEntry Name="B"><Value>-2</Value></EnumEntry>
<EnumEntry Name="C"/><EnumEntry><Value>3</Value></EnumEntry><EnumEntry Name="D"><Value>99999999999999999999</Value></EnumEntry>
</Enumeration><Enumeration Name="Source"/>)"));
    ASSERT_EQ(features.size(), 2U);
    const CatalogFeature& source = features[0];
    EXPECT_EQ(source.m_category, "Image/Deep");
    EXPECT_EQ(source.m_displayName, "The source");
    EXPECT_EQ(source.m_description, "more");
    EXPECT_EQ(source.m_type, OX3D_RGBD_PARAM_ENUM);
    EXPECT_EQ(source.m_visibility, OX3D_RGBD_VISIBILITY_GURU);
    ASSERT_EQ(source.m_entries.size(), 2U) << "entries without a name or a number are none";
    EXPECT_EQ(source.m_entries[0].m_displayName + source.m_entries[1].m_displayName, "FirstB");
    EXPECT_EQ(source.m_entries[0].m_value * 100 + source.m_entries[1].m_value, 3098);
    EXPECT_EQ(features[1].m_displayName + features[1].m_unit + features[1].m_toolTip, "Wpxa & b");
    EXPECT_EQ(features[1].m_type, OX3D_RGBD_PARAM_INT);
}

TEST(FeatureCatalog, IsLedAstrayByNoDescription) {
    const std::string feature = "<Integer Name=\"F\"/>";
    const std::string names = "<pFeature>F</pFeature>";
    EXPECT_THAT(
        Names(Described(names + names + "<pFeature/><pFeature>None</pFeature><pFeature>Port</pFeature>",
                        feature + "<Port Name=\"Port\"/><Integer/>")),
        ElementsAre(":F"));
    EXPECT_THAT(Names(Described(
                    "<pFeature>A</pFeature>",
                    "<Category Name=\"A\"><pFeature>B</pFeature></Category><Category Name=\"B\"><pFeature>A</"
                    "pFeature><pFeature>Root</pFeature>" +
                        names + "</Category>" + feature)),
                ElementsAre("A/B:F"));
    std::string chain; // of categories, without end
    std::string many;
    for (int i = 0; i < 5000; ++i) {
        const std::string number = std::to_string(i);
        chain.append("<Category Name=\"C").append(number).append("\"><pFeature>C");
        chain.append(std::to_string(i + 1)).append("</pFeature>").append(names).append("</Category>");
        many.append("<pFeature>F").append(number).append("</pFeature>");
        chain.append("<Integer Name=\"F").append(number).append("\"/>");
    }
    EXPECT_EQ(Names(Described("<pFeature>C0</pFeature>", chain + feature)).size(), 1U);
    EXPECT_EQ(Names(Described(many, chain)).size(), 4096U);
    std::string deep;
    for (int i = 0; i < 200000; ++i) {
        deep += "<Group>";
    }
    for (const std::string& xml : {std::string(), std::string("<R"), std::string("<R/>"),
                                   std::string("<?xml?>"), Described(names, deep), Described("", feature),
                                   Described(names, feature) + std::string(kMaxDescriptionBytes, ' ')}) {
        EXPECT_THAT(Names(xml), IsEmpty()) << xml.substr(0, 60);
    }
}

} // namespace
