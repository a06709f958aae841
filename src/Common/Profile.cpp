// Profile.cpp - see Profile.h. Relies on stdio lines of 255 characters: a longer physical line counts as
// several.
#include "src/Common/Profile.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "base/LocalFile.h"

char g_strCurrentDllPath[256] = {};

namespace {

struct FileCloser {
    void operator()(FILE* file) const noexcept { fclose(file); }
};
using FilePtr = std::unique_ptr<FILE, FileCloser>;

struct ProfileLine {
    char m_text[256];
};

FilePtr OpenProfile(const char* path) {
    const int descriptor = ox3d::OpenLocalFile(path);
    FILE* const file = descriptor >= 0 ? fdopen(descriptor, "r") : nullptr;
    if (file == nullptr && descriptor >= 0) {
        close(descriptor);
    }
    return FilePtr(file);
}

bool ReadLine(FILE* file, ProfileLine& line) {
    return fgets(line.m_text, sizeof(line.m_text), file) != nullptr;
}

bool IsHeader(const ProfileLine& line) {
    return line.m_text[0] == '[';
}

// '[' in the first column, then the name and ']'; the rest of the line does not matter.
bool IsHeaderOf(const ProfileLine& line, const char* section) {
    const size_t length = strlen(section);
    return IsHeader(line) && strncmp(line.m_text + 1, section, length) == 0 && line.m_text[1 + length] == ']';
}

// Where the value starts: the key in the first column, then blanks and '=' with at least one '='. Else null.
const char* ValueOf(const ProfileLine& line, const char* key) {
    const size_t length = strlen(key);
    if (strncmp(line.m_text, key, length) != 0) {
        return nullptr;
    }
    const char* const run = line.m_text + length;
    const size_t runLength = strspn(run, " =");
    return memchr(run, '=', runLength) != nullptr ? run + runLength : nullptr;
}

bool FindSection(FILE* file, const char* section) {
    ProfileLine line;
    while (ReadLine(file, line)) {
        if (IsHeaderOf(line, section)) {
            return true;
        }
    }
    return false;
}

// The value's text inside line, or null. Only the first section of that name is searched.
const char* FindValue(FILE* file, const char* section, const char* key, ProfileLine& line) {
    if (!FindSection(file, section)) {
        return nullptr;
    }
    while (ReadLine(file, line) && !IsHeader(line)) {
        if (const char* const value = ValueOf(line, key)) {
            return value;
        }
    }
    return nullptr;
}

// A zero-separated list in the caller's buffer. Two bytes are reserved for the two zeros at its end, so the
// zero that ends a cut entry always has room.
class CNameList {
public:
    CNameList(char* out, unsigned long outSize)
        : m_out(out), m_limit(outSize >= 2 ? outSize - 2 : 0), m_size(outSize) {}

    [[nodiscard]] bool IsFull() const { return m_count >= m_limit; }

    // The characters before the first of stops, cut to what fits.
    void Add(const char* text, const char* stops) {
        const unsigned long length = std::min<unsigned long>(strcspn(text, stops), m_limit - m_count);
        memcpy(m_out + m_count, text, length);
        m_count += length;
        m_out[m_count++] = '\0';
    }

    // Ends the list; its characters less the zero that ends the last entry.
    unsigned long Finish() {
        if (m_size != 0) {
            m_out[m_count] = '\0';
        }
        return m_count == 0 ? 0 : m_count - 1;
    }

private:
    char* m_out;
    unsigned long m_limit;
    unsigned long m_size;
    unsigned long m_count = 0;
};

unsigned long ListSections(FILE* file, char* out, unsigned long outSize) {
    CNameList list(out, outSize);
    ProfileLine line;
    while (!list.IsFull() && ReadLine(file, line)) {
        if (IsHeader(line)) {
            list.Add(line.m_text + 1, "]\r\n");
        }
    }
    return list.Finish();
}

unsigned long ListKeys(FILE* file, char* out, unsigned long outSize) {
    CNameList list(out, outSize);
    ProfileLine line;
    while (!list.IsFull() && ReadLine(file, line) && !IsHeader(line)) {
        list.Add(line.m_text, "\n\r =");
    }
    return list.Finish();
}

// Preserved for compatibility: neither the copy nor the length is bounded by outSize, except where it is 0 or
// 1, since some callers pass 256 bytes and a smaller number with them.
unsigned long CopyValue(const char* value, char* out, unsigned long outSize) {
    const size_t length = strcspn(value, "\r\n");
    if (outSize >= 2) {
        memcpy(out, value, length);
        out[length] = '\0';
    } else if (outSize == 1) {
        out[0] = '\0';
    }
    return length;
}

unsigned long CopyDefault(const char* defaultValue, char* out, unsigned long outSize) {
    if (outSize == 0) {
        return 0;
    }
    const unsigned long length = strnlen(defaultValue, outSize - 1);
    memcpy(out, defaultValue, length);
    out[length] = '\0';
    return length;
}

} // namespace

unsigned int Linux_GetPrivateProfileInt(const char* section, const char* key, int defaultValue,
                                        const char* path) {
    const auto fallback = static_cast<unsigned int>(defaultValue);
    if (section == nullptr || key == nullptr || path == nullptr) {
        return fallback;
    }
    const FilePtr file = OpenProfile(path);
    if (file == nullptr) {
        return fallback;
    }
    ProfileLine line;
    const char* const value = FindValue(file.get(), section, key, line);
    if (value == nullptr) {
        return fallback;
    }
    // Preserved for compatibility: a value of 0 cannot be told from an empty or a non-numeric one, and all of
    // them give the default.
    const auto number = static_cast<unsigned int>(strtoul(value, nullptr, 0));
    return number != 0 ? number : fallback;
}

unsigned long Linux_GetPrivateProfileString(const char* section, const char* key, const char* defaultValue,
                                            char* out, unsigned long outSize, const char* path) {
    if (out == nullptr) {
        outSize = 0;
    }
    const unsigned long fallback = CopyDefault(defaultValue != nullptr ? defaultValue : "", out, outSize);
    if (section == nullptr || key == nullptr || path == nullptr) {
        return fallback;
    }
    const FilePtr file = OpenProfile(path);
    if (file == nullptr) {
        return fallback;
    }
    if (section[0] == '\0') {
        return ListSections(file.get(), out, outSize);
    }
    if (key[0] == '\0') {
        return FindSection(file.get(), section) ? ListKeys(file.get(), out, outSize) : fallback;
    }
    ProfileLine line;
    const char* const value = FindValue(file.get(), section, key, line);
    return value != nullptr ? CopyValue(value, out, outSize) : fallback;
}
