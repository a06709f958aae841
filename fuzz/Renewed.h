// Renewed.h - an object that takes long to make: one serves many inputs, then a new one takes its place, so that an
// input depends on few others.
#ifndef OX3D_FUZZ_RENEWED_H
#define OX3D_FUZZ_RENEWED_H

#include <memory>

namespace ox3d::fuzz {

template <class Object>
class CRenewed {
public:
    template <class... Args>
    Object& Get(const Args&... args) {
        constexpr int kUses = 256;
        if (m_object == nullptr || ++m_uses >= kUses) {
            m_object = std::make_unique<Object>(args...);
            m_uses = 0;
        }
        return *m_object;
    }

private:
    std::unique_ptr<Object> m_object;
    int m_uses = 0;
};

} // namespace ox3d::fuzz

#endif
