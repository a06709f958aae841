// FrameSource.cpp - chooses the kind of source.
#include "virtual-camera/frames/FrameSource.h"

#include "virtual-camera/frames/CycleSource.h"
#include "virtual-camera/frames/RecordingSource.h"
#include "virtual-camera/frames/SceneSource.h"

#include <exception>
#include <new>
#include <utility>

namespace ox3d {

std::unique_ptr<CFrameSource> CreateFrameSource(const FrameSourceConfig& config, std::string* error) {
    try {
        std::unique_ptr<CFrameSource> source = config.m_isRecording ? CRecordingSource::Create(config, error)
                                                                    : CSceneSource::Create(config, error);
        const bool isPlain = source == nullptr || config.m_cycleFrames == 0;
        return isPlain ? std::move(source)
                       : CCycleSource::Create(std::move(source), config.m_cycleFrames, error);
    } catch (const std::bad_alloc&) {
        throw;
    } catch (const std::exception&) {
        error->assign("internal error");
        return nullptr;
    }
}

} // namespace ox3d
