// FrameSource.cpp - chooses the kind of source.
#include "FrameSource.h"

#include "RecordingSource.h"
#include "SceneSource.h"

#include <exception>
#include <new>

namespace ox3d {

std::unique_ptr<CFrameSource> CreateFrameSource(const FrameSourceConfig& config, std::string* error) {
    try {
        return config.m_isRecording ? CRecordingSource::Create(config, error)
                                    : CSceneSource::Create(config, error);
    } catch (const std::bad_alloc&) {
        throw;
    } catch (const std::exception&) {
        error->assign("internal error");
        return nullptr;
    }
}

} // namespace ox3d
