// BackdropCache.cpp - the backdrops that were used last. Opening a virtual camera again and again, or several
// of them, costs one rendering.
#include "virtual-camera/frames/SceneBackdrop.h"

#include <algorithm>
#include <deque>

#include "base/Mutex.h"
#include "base/PerProcess.h"

namespace ox3d {
namespace {

constexpr size_t kKeepBytes = size_t{64} << 20U;

enum class EPicture { Depth, Color, GreyLeft, GreyRight };

template <class Backdrop>
class CKeeper {
public:
    // Renders under the lock: a second camera that asks for the same backdrop waits for it instead of
    // rendering it again.
    template <class Make>
    std::shared_ptr<const Backdrop> Get(uint32_t width, uint32_t height, EPicture kind, const Make& make) {
        const CLock lock(m_mutex);
        for (const Entry& entry : m_entries) {
            if (entry.m_width == width && entry.m_height == height && entry.m_kind == kind) {
                return entry.m_backdrop;
            }
        }
        std::shared_ptr<const Backdrop> made = make();
        m_bytes += made->Bytes();
        m_entries.push_back({width, height, kind, made});
        while (m_bytes > kKeepBytes && !m_entries.empty()) {
            m_bytes -= m_entries.front().m_backdrop->Bytes();
            m_entries.pop_front();
        }
        return made;
    }

private:
    struct Entry {
        uint32_t m_width;
        uint32_t m_height;
        EPicture m_kind;
        std::shared_ptr<const Backdrop> m_backdrop;
    };
    CMutex m_mutex;
    std::deque<Entry> m_entries OX_GUARDED_BY(m_mutex);
    size_t m_bytes OX_GUARDED_BY(m_mutex) = 0;
};

// A camera's thread may still render while the process ends, and a thread of the parent while its child begins.
CPerProcess<CKeeper<CDepthBackdrop>> g_depthKeeper;
CPerProcess<CKeeper<CPictureBackdrop>> g_pictureKeeper;

} // namespace

std::shared_ptr<const CDepthBackdrop> SharedDepthBackdrop(uint32_t width, uint32_t height) {
    return g_depthKeeper.Get().Get(width, height, EPicture::Depth,
                                   [&] { return std::make_shared<const CDepthBackdrop>(width, height); });
}

std::shared_ptr<const CPictureBackdrop> SharedColorBackdrop(uint32_t width, uint32_t height) {
    return g_pictureKeeper.Get().Get(width, height, EPicture::Color, [&] {
        const PinholeCamera camera = CSceneModel::Get().ColorCamera(width, height, width, height);
        return std::make_shared<const CPictureBackdrop>(camera, width, height, false);
    });
}

std::shared_ptr<const CPictureBackdrop> SharedGreyBackdrop(uint32_t width, uint32_t height,
                                                           bool ofSecondImager) {
    return g_pictureKeeper.Get().Get(
        width, height, ofSecondImager ? EPicture::GreyRight : EPicture::GreyLeft, [&] {
            const CSceneModel& model = CSceneModel::Get();
            const PinholeCamera camera =
                ofSecondImager ? model.SecondImager(width, height) : model.DepthCamera(width, height);
            return std::make_shared<const CPictureBackdrop>(camera, width, height, true);
        });
}

} // namespace ox3d
