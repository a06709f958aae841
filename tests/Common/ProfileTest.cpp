// The profile readers and the build stamp.
#include "src/Common/Profile.h"

#include <sys/stat.h>

#include "src/Common/Version.h"
#include "tests/Common/TestFolder.h"

namespace {

constexpr const char* kFile = "Test.ini";
using namespace std::string_literals;

class Profile : public CTestFolder {
protected:
    // Checks everything that the string reader does to a buffer of '#'.
    static void ExpectText(const char* section, const char* key, size_t size, std::string written,
                           unsigned long result) {
        std::string out(300, '#');
        EXPECT_EQ(Linux_GetPrivateProfileString(section, key, "default", out.data(), size, kFile), result);
        written.resize(300, '#');
        EXPECT_EQ(out, written) << section << " " << key << " in " << size;
    }
};

TEST_F(Profile, IntegerIsFoundByTheRulesOfTheFile) {
    const auto read = [](const std::string& file) {
        WriteFile(kFile, file);
        return Linux_GetPrivateProfileInt("S", "K", 77, kFile);
    };
    for (const char* const found :
         {"[S]\nK=12", "[S]\nK = ==  12\r\n", "[S]\nK=0xC\n", "[S]\nK=014\n", "[S]\nK=12MB\n",
          "[S]\nKey=1\nK=12\n", "[S] ; first\nK=12\n", "[S2]\nK=1\n[S]\nK=12\n", "K=1\n[S]\nK=12\nK=13\n",
          "[S]\nK=0x10000000C\n"}) {
        EXPECT_EQ(read(found), 12U) << found;
    }
    for (const char* const missed :
         {"", "[S]\nK=0\n", "[S]\nK=\n", "[S]\nK=on\n", "[S]\nK 12\n", "[S]\n K=12\n", "[S]\nK\t=12\n",
          "[s]\nK=12\n", "[S]\nk=12\n", " [S]\nK=12\n", "[S ]\nK=12\n", "[S]\n[T]\nK=12\n",
          "[S]\n[T]\n[S]\nK=12\n"}) {
        EXPECT_EQ(read(missed), 77U) << missed;
    }
    EXPECT_EQ(read("[S]\nK=-1\n"), 0xFFFFFFFFU);
    EXPECT_EQ(read("[S]\n" + std::string(255, 'x') + "K=12\n"), 12U)
        << "a line goes on as a new one after 255";
}

TEST_F(Profile, OnlyARegularFileIsRead) {
    ASSERT_EQ(mkfifo("pipe", 0600), 0);
    for (const char* const path : {"missing", "pipe", ".", "/dev/zero"}) {
        EXPECT_EQ(Linux_GetPrivateProfileInt("S", "K", -3, path), 0xFFFFFFFDU) << path;
    }
}

TEST_F(Profile, NullArgumentsAreSafe) {
    WriteFile(kFile, "[S]\nK=12\n");
    EXPECT_EQ(Linux_GetPrivateProfileInt(nullptr, nullptr, 7, nullptr), 7U);
    char out[8] = "#######";
    EXPECT_EQ(Linux_GetPrivateProfileString(nullptr, nullptr, nullptr, out, sizeof(out), nullptr), 0U);
    EXPECT_STREQ(out, "");
    EXPECT_EQ(Linux_GetPrivateProfileString("S", "K", "", nullptr, 8, kFile), 2U);
}

TEST_F(Profile, ValueIsCopiedAsItStandsAndTheDefaultToTheSizeGiven) {
    WriteFile(kFile, "[S]\nK= \"a b\" \t\r\nVoid=\r\nL=abcdef\n");
    ExpectText("S", "K", 256, "\"a b\" \t\0"s, 7);
    ExpectText("S", "Void", 256, "\0efault\0"s, 0);
    ExpectText("S", "L", 4, "abcdef\0"s, 6); // callers pass 256 bytes, whatever they say
    ExpectText("S", "L", 1, "\0"s, 6);
    ExpectText("S", "L", 0, "", 6);
    ExpectText("S", "M", 8, "default\0"s, 7);
    ExpectText("S", "M", 7, "defaul\0"s, 6);
    ExpectText("T", "M", 1, "\0"s, 0);
    ExpectText("T", "M", 0, "", 0);
}

TEST_F(Profile, ListsAreSeparatedByZerosAndStayInTheirSize) {
    WriteFile(kFile, "[One]x\nKey=1\nA B\n=\n\n[Second\nZ=1\n[Void]\n");
    ExpectText("", "", 256, "One\0Second\0Void\0\0"s, 15);
    ExpectText("", "", 9, "One\0Sec\0\0"s, 7);
    ExpectText("", "K", 6, "One\0\0\0"s, 3);
    ExpectText("", "", 2, "\0\0"s, 0);
    ExpectText("", "", 1, "\0"s, 0);
    ExpectText("", "", 0, "", 0);
    ExpectText("One", "", 256, "Key\0A\0\0\0\0"s, 7);
    ExpectText("One", "", 4, "Ke\0\0"s, 2);
    ExpectText("Void", "", 256, "\0efault\0"s, 0);
    ExpectText("Missing", "", 256, "default\0"s, 7);
}

TEST(BuildStamp, TurnsTheCompilersDateIntoDigits) {
    const std::pair<const char*, const char*> aCases[] = {
        {"Jan  5 2024", "240105_t"}, {"Dec 31 2031", "311231_t"}, {"??? 07 2024", "240007_t"}};
    for (const auto& [date, wanted] : aCases) {
        char out[256] = {};
        ox3d::FormatBuildStamp(date, "t", out);
        EXPECT_STREQ(out, wanted);
    }
}

} // namespace
