// Interpose.h - what the code under test asks of the system, and which of it is refused. Only calls count that are made
// inside the library: on a thread that entered it by CInside(true), or on one that the library started.
#ifndef OX3D_FUZZ_SESSION_INTERPOSE_H
#define OX3D_FUZZ_SESSION_INTERPOSE_H

#include <cstdint>

namespace ox3d::session {

enum class EResource : uint32_t {
    Memory,
    Open,  // open and fopen
    Adopt, // fdopen
    Write, // write and fwrite
    Flush,
    Rename,
    Remove, // remove and unlink
    MakeFolder,
    Thread,
    LoadLibrary,
    FindSymbol,
    Count
};

constexpr auto kResources = static_cast<uint32_t>(EResource::Count);
extern const char* const kResourceNames[kResources];

// From here on: request number `from`, counted from 1, is refused once, or that one and all after it. 0: none is.
void Refuse(EResource resource, uint64_t from, bool isForEver);
void RefuseNothing();
uint64_t Requests(EResource resource); // since it was last told what to refuse
uint64_t Refusals(EResource resource);

// Symbols that dlsym does not find.
void HideSymbols(bool (*isHidden)(const char* name));

// Whether the thread is inside the library from here on; what it was.
bool SetInside(bool isInside);

// The same for a scope.
class CInside {
public:
    explicit CInside(bool isInside) : m_former(SetInside(isInside)) {}
    ~CInside() { SetInside(m_former); }
    CInside(const CInside&) = delete;
    CInside& operator=(const CInside&) = delete;

private:
    bool m_former;
};

} // namespace ox3d::session

#endif
