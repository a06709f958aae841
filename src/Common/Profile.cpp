// Readers of profile files. Relies on stdio lines of 255 characters: a longer physical line counts as
// several.
#include "Common/Profile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

char g_strCurrentDllPath[256] = {};

namespace {

struct SFileCloser {
    void operator()(FILE* pFile) const noexcept { fclose(pFile); }
};
using CFile = std::unique_ptr<FILE, SFileCloser>;

struct SLine {
    char achText[256];
};

// Only a regular file is a profile: a device or a pipe of that name could block the caller for ever, which is
// also why it is opened without blocking.
CFile OpenProfile(const char* path) {
    const int nFd = open(path, O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (nFd < 0) {
        return nullptr;
    }
    struct stat stStatus {};
    FILE* const pFile = fstat(nFd, &stStatus) == 0 && S_ISREG(stStatus.st_mode) ? fdopen(nFd, "r") : nullptr;
    if (pFile == nullptr) {
        close(nFd);
    }
    return CFile(pFile);
}

bool ReadLine(FILE* pFile, SLine& stLine) {
    return fgets(stLine.achText, sizeof(stLine.achText), pFile) != nullptr;
}

bool IsHeader(const SLine& stLine) {
    return stLine.achText[0] == '[';
}

/// '[' in the first column, the name, ']' at once; what follows does not matter.
bool IsHeaderOf(const SLine& stLine, const char* section) {
    const size_t nLength = strlen(section);
    return IsHeader(stLine) && strncmp(stLine.achText + 1, section, nLength) == 0 &&
           stLine.achText[1 + nLength] == ']';
}

/// Where the value starts: the key in the first column, then blanks and '=' with at least one '='. Else null.
const char* ValueOf(const SLine& stLine, const char* key) {
    const size_t nLength = strlen(key);
    if (strncmp(stLine.achText, key, nLength) != 0) {
        return nullptr;
    }
    const char* const pRun = stLine.achText + nLength;
    const size_t nRun = strspn(pRun, " =");
    return memchr(pRun, '=', nRun) != nullptr ? pRun + nRun : nullptr;
}

bool FindSection(FILE* pFile, const char* section) {
    SLine stLine;
    while (ReadLine(pFile, stLine)) {
        if (IsHeaderOf(stLine, section)) {
            return true;
        }
    }
    return false;
}

/// The value's text inside stLine, or null. Only the first section of that name is searched.
const char* FindValue(FILE* pFile, const char* section, const char* key, SLine& stLine) {
    if (!FindSection(pFile, section)) {
        return nullptr;
    }
    while (ReadLine(pFile, stLine) && !IsHeader(stLine)) {
        if (const char* const pValue = ValueOf(stLine, key)) {
            return pValue;
        }
    }
    return nullptr;
}

/// A zero-separated list in the caller's buffer. Two bytes are kept back for the two zeros at its end, so the
/// zero that ends a cut entry always has room.
class CNameList {
public:
    CNameList(char* out, unsigned long outSize)
        : m_pOut(out), m_nLimit(outSize >= 2 ? outSize - 2 : 0), m_nSize(outSize) {}

    [[nodiscard]] bool IsFull() const { return m_nCount >= m_nLimit; }

    /// The characters before the first of pStops, cut to what fits.
    void Add(const char* pText, const char* pStops) {
        const unsigned long nLength = std::min<unsigned long>(strcspn(pText, pStops), m_nLimit - m_nCount);
        memcpy(m_pOut + m_nCount, pText, nLength);
        m_nCount += nLength;
        m_pOut[m_nCount++] = '\0';
    }

    /// Ends the list; its characters less the zero that ends the last entry.
    unsigned long Finish() {
        if (m_nSize != 0) {
            m_pOut[m_nCount] = '\0';
        }
        return m_nCount == 0 ? 0 : m_nCount - 1;
    }

private:
    char* m_pOut;
    unsigned long m_nLimit;
    unsigned long m_nSize;
    unsigned long m_nCount = 0;
};

unsigned long ListSections(FILE* pFile, char* out, unsigned long outSize) {
    CNameList list(out, outSize);
    SLine stLine;
    while (!list.IsFull() && ReadLine(pFile, stLine)) {
        if (IsHeader(stLine)) {
            list.Add(stLine.achText + 1, "]\r\n");
        }
    }
    return list.Finish();
}

unsigned long ListKeys(FILE* pFile, char* out, unsigned long outSize) {
    CNameList list(out, outSize);
    SLine stLine;
    while (!list.IsFull() && ReadLine(pFile, stLine) && !IsHeader(stLine)) {
        list.Add(stLine.achText, "\n\r =");
    }
    return list.Finish();
}

/// Kept: neither the copy nor the length is bounded by outSize, since callers pass 256 bytes and some pass a
/// smaller number with them. 0 and 1 alone are taken at their word.
unsigned long CopyValue(const char* pValue, char* out, unsigned long outSize) {
    const size_t nLength = strcspn(pValue, "\r\n");
    if (outSize >= 2) {
        memcpy(out, pValue, nLength);
        out[nLength] = '\0';
    } else if (outSize == 1) {
        out[0] = '\0';
    }
    return nLength;
}

unsigned long CopyDefault(const char* defaultValue, char* out, unsigned long outSize) {
    if (outSize == 0) {
        return 0;
    }
    const unsigned long nLength = strnlen(defaultValue, outSize - 1);
    memcpy(out, defaultValue, nLength);
    out[nLength] = '\0';
    return nLength;
}

} // namespace

unsigned int Linux_GetPrivateProfileInt(const char* section, const char* key, int defaultValue,
                                        const char* path) {
    const auto nDefault = static_cast<unsigned int>(defaultValue);
    if (section == nullptr || key == nullptr || path == nullptr) {
        return nDefault;
    }
    const CFile file = OpenProfile(path);
    if (file == nullptr) {
        return nDefault;
    }
    SLine stLine;
    const char* const pValue = FindValue(file.get(), section, key, stLine);
    if (pValue == nullptr) {
        return nDefault;
    }
    // Kept: a value of 0 cannot be told from an empty or a non-numeric one, and all of them give the default.
    const auto nValue = static_cast<unsigned int>(strtoul(pValue, nullptr, 0));
    return nValue != 0 ? nValue : nDefault;
}

unsigned long Linux_GetPrivateProfileString(const char* section, const char* key, const char* defaultValue,
                                            char* out, unsigned long outSize, const char* path) {
    if (out == nullptr) {
        outSize = 0;
    }
    const unsigned long nFallback = CopyDefault(defaultValue != nullptr ? defaultValue : "", out, outSize);
    if (section == nullptr || key == nullptr || path == nullptr) {
        return nFallback;
    }
    const CFile file = OpenProfile(path);
    if (file == nullptr) {
        return nFallback;
    }
    if (section[0] == '\0') {
        return ListSections(file.get(), out, outSize);
    }
    if (key[0] == '\0') {
        return FindSection(file.get(), section) ? ListKeys(file.get(), out, outSize) : nFallback;
    }
    SLine stLine;
    const char* const pValue = FindValue(file.get(), section, key, stLine);
    return pValue != nullptr ? CopyValue(pValue, out, outSize) : nFallback;
}
