// The profile readers.
#include "Common/Profile.h"

#include <sys/stat.h>

#include "TestFolder.h"

namespace {

constexpr const char* kFile = "Test.ini";

class Profile : public CTestFolder {
protected:
    /// Checks everything that the string reader does to a buffer of '#'.
    static void ExpectText(const char* section, const char* key, size_t nSize, std::string strWritten,
                           unsigned long nResult) {
        std::string strOut(300, '#');
        EXPECT_EQ(Linux_GetPrivateProfileString(section, key, "default", strOut.data(), nSize, kFile),
                  nResult);
        strWritten.resize(300, '#');
        EXPECT_EQ(strOut, strWritten) << section << " " << key << " in " << nSize;
    }
};

TEST_F(Profile, IntegerIsFoundByTheRulesOfTheFile) {
    const std::pair<std::string, unsigned int> aCases[] = {{"[S]\nK = ==  12\r\n", 12},
                                                           {"[S]\nK=0x1F\n", 31},
                                                           {"[S]\nK=017\n", 15},
                                                           {"[S]\nK=12MB", 12},
                                                           {"[S]\nK=-1\n", 0xFFFFFFFF},
                                                           {"[S]\nK=0x100000005\n", 5},
                                                           {"[S]\nK=0\n", 77},
                                                           {"[S]\nK=\n", 77},
                                                           {"[S]\nK 12\n", 77},
                                                           {"[S]\nKey=12\nK=13\n", 13},
                                                           {"[S]\n K=12\n", 77},
                                                           {"[S]\nK\t=12\n", 77},
                                                           {"[s]\nK=12\n[S]\nk=13\n", 77},
                                                           {"[S] ; the first\nK=12\n", 12},
                                                           {" [S]\nK=12\n", 77},
                                                           {"[S2]\nK=12\n[S]\nK=13\n", 13},
                                                           {"[S]\n[T]\nK=11\n[S]\nK=12\n", 77},
                                                           {"[S]\n" + std::string(255, 'x') + "K=12\n", 12}};
    for (const auto& [strFile, nExpected] : aCases) {
        WriteFile(kFile, strFile);
        EXPECT_EQ(Linux_GetPrivateProfileInt("S", "K", 77, kFile), nExpected) << strFile;
    }
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
    char achOut[8] = "#######";
    EXPECT_EQ(Linux_GetPrivateProfileString(nullptr, nullptr, nullptr, achOut, sizeof(achOut), nullptr), 0U);
    EXPECT_STREQ(achOut, "");
    EXPECT_EQ(Linux_GetPrivateProfileString("S", "K", "", nullptr, 8, kFile), 2U);
}

TEST_F(Profile, ValueIsCopiedAsItStandsAndTheDefaultToTheSizeGiven) {
    using std::string_literals::operator""s;
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
    using std::string_literals::operator""s;
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

} // namespace
