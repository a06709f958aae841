// CallbackSlot.cpp - the calling thread's stack of callbacks.
#include "base/CallbackSlot.h"

namespace ox3d {
namespace {
thread_local const CCallbackScope* t_innermost = nullptr;
}

CCallbackScope::CCallbackScope(const void* owner, const void* slot)
    : m_owner(owner), m_slot(slot), m_outer(t_innermost) {
    t_innermost = this;
}

CCallbackScope::~CCallbackScope() {
    t_innermost = m_outer;
}

bool CCallbackScope::IsInsideOwner(const void* owner) {
    for (const CCallbackScope* scope = t_innermost; scope != nullptr; scope = scope->m_outer) {
        if (scope->m_owner == owner) {
            return true;
        }
    }
    return false;
}

uint32_t CCallbackScope::CountInSlot(const void* slot) {
    uint32_t count = 0;
    for (const CCallbackScope* scope = t_innermost; scope != nullptr; scope = scope->m_outer) {
        count += scope->m_slot == slot ? 1 : 0;
    }
    return count;
}

} // namespace ox3d
