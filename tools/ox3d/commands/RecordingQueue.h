// Frames on their way into a recording: packed and written by threads beside the one that fetches.
#ifndef OX3D_TOOL_RECORDING_QUEUE_H
#define OX3D_TOOL_RECORDING_QUEUE_H

#include "base/Mutex.h"
#include "recording/RecordingWriter.h"
#include "tools/ox3d/pictures/FrameDecode.h"

#include <deque>
#include <string>
#include <thread>
#include <vector>

namespace ox3d::tool {

class CRecordingQueue {
public:
    explicit CRecordingQueue(CRecordingWriter& writer);
    ~CRecordingQueue();
    CRecordingQueue(const CRecordingQueue&) = delete;
    CRecordingQueue& operator=(const CRecordingQueue&) = delete;

    // Waits while too many frames wait. Throws a CToolError once one could not be written. An empty image is no color, and a pair
    // that is that of the frame before is none: the library repeats it where the camera sends none.
    void Add(uint32_t frameNum, const DepthImage& depth, const RgbImage& color, ViewPair pair);
    // Returns when all is written; throws as above.
    void Finish();

private:
    struct Frame {
        uint64_t m_number = 0;
        DepthImage m_depth;
        RgbImage m_color;
        ViewPair m_pair;
    };

    void Run();
    void Write(const Frame& frame);
    bool WriteImages(const Frame& frame, std::string* error) const;
    void ThrowFailure() OX_REQUIRES(m_mutex);

    CRecordingWriter& m_writer;
    ViewPair m_lastPair; // that was added
    std::vector<std::thread> m_threads;

    CMutex m_mutex;
    CCondition m_changed;
    std::deque<Frame> m_waiting OX_GUARDED_BY(m_mutex);
    size_t m_underWay OX_GUARDED_BY(m_mutex) = 0;
    std::string m_failure OX_GUARDED_BY(m_mutex);
    bool m_isStopping OX_GUARDED_BY(m_mutex) = false;
};

} // namespace ox3d::tool

#endif
