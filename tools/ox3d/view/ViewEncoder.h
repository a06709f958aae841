// Makes messages of frames, once for all clients: on a thread of its own, so that who brings frames does not wait. What
// comes while it works replaces what waits.
#ifndef OX3D_TOOL_VIEW_ENCODER_H
#define OX3D_TOOL_VIEW_ENCODER_H

#include "base/ImageMemory.h"
#include "base/Mutex.h"
#include "recording/Jpeg.h"
#include "recording/RecordedFrame.h"
#include "viewer/server/DepthPacker.h"

#include <functional>
#include <thread>

namespace ox3d::tool {

// What the encoder found out, for statistics.
struct EncodedCounts {
    uint64_t m_bytes = 0; // of payloads
    uint64_t m_frames = 0;
    double m_validDepth = 0; // share of the last depth image
};

class CViewEncoder {
public:
    using Publisher = std::function<void(viewer::EStream, viewer::PacketPointer)>;

    CViewEncoder(uint16_t camera, Publisher publisher);
    ~CViewEncoder();
    CViewEncoder(const CViewEncoder&) = delete;
    CViewEncoder& operator=(const CViewEncoder&) = delete;

    // Copies the images that are wanted and returns; one thread at a time. One without samples is left out.
    void Take(const FrameView& frame, bool isDepthWanted, bool isColorWanted) OX_EXCLUDES(m_mutex);
    EncodedCounts Counts() const OX_EXCLUDES(m_mutex);

private:
    struct Job {
        RecordedFacts m_facts;
        DepthView m_depth; // of m_depthBytes
        ColorView m_color; // of m_colorBytes
        ImageBytes m_depthBytes;
        ImageBytes m_colorBytes;
        bool m_isNew = false;
    };

    void Run() noexcept OX_EXCLUDES(m_mutex);
    void Encode(const Job& job) OX_EXCLUDES(m_mutex);
    void EncodeDepth(const Job& job) OX_EXCLUDES(m_mutex);
    void EncodeColor(const Job& job) OX_EXCLUDES(m_mutex);
    void Publish(viewer::EStream stream, viewer::PacketPointer packet) OX_EXCLUDES(m_mutex);

    const uint16_t m_camera;
    const Publisher m_publisher;
    std::unique_ptr<Job> m_filling = std::make_unique<Job>(); // of the thread that brings frames

    CJpegEncoder m_jpeg; // the rest is the encoder's
    ByteVector m_interleaved;
    viewer::CDepthPacker m_depthPacker;
    std::unique_ptr<Job> m_encoding = std::make_unique<Job>();

    mutable CMutex m_mutex;
    CCondition m_changed;
    std::unique_ptr<Job> m_waiting OX_GUARDED_BY(m_mutex) = std::make_unique<Job>();
    EncodedCounts m_counts OX_GUARDED_BY(m_mutex);
    bool m_isEnding OX_GUARDED_BY(m_mutex) = false;
    std::thread m_thread;
};

} // namespace ox3d::tool

#endif
