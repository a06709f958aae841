// ArvError.h - Aravis's errors and objects, owned; and what an error becomes.
#ifndef OX3D_ARAVIS_ARV_ERROR_H
#define OX3D_ARAVIS_ARV_ERROR_H

#include <arv.h>

#include <memory>

namespace ox3d {

struct GObjectRelease {
    void operator()(void* object) const { g_object_unref(object); }
};
template <typename T>
using CObject = std::unique_ptr<T, GObjectRelease>;

struct GFree {
    void operator()(void* memory) const { g_free(memory); }
};
template <typename T>
using CGMemory = std::unique_ptr<T, GFree>;

// Code of an error; null is kOk.
int CodeOf(const GError* error);
// Whether the error says that the camera is no longer to be reached.
bool IsUnreachable(const GError* error);

// Passed to a function of Aravis by Out().
class CArvError {
public:
    CArvError() = default;
    ~CArvError() { g_clear_error(&m_error); }
    CArvError(const CArvError&) = delete;
    CArvError& operator=(const CArvError&) = delete;

    GError** Out() {
        g_clear_error(&m_error);
        return &m_error;
    }
    bool IsSet() const { return m_error != nullptr; }
    int Code() const { return CodeOf(m_error); }
    const GError* Get() const { return m_error; }

private:
    GError* m_error = nullptr;
};

} // namespace ox3d

#endif
