// ox3d convert: recordings from one form into another. Files and folders of images are read and written as they are, and
// those whose depth lies on color become points and other folders without a camera; for all else the library plays them.
#include "tools/ox3d/Interrupt.h"
#include "tools/ox3d/commands/Command.h"
#include "tools/ox3d/convert/ConvertTarget.h"
#include "tools/ox3d/convert/Dataset.h"
#include "tools/ox3d/convert/PlainConvert.h"
#include "tools/ox3d/convert/PlayedConvert.h"

#include <cstdio>

namespace ox3d::tool {
namespace {

namespace fs = std::filesystem;

std::unique_ptr<CRecordingReader> OpenSource(const fs::path& path, EDataset kind) {
    std::string error;
    auto reader =
        kind == EDataset::None ? CRecordingReader::Open(path.string(), &error) : OpenDataset(kind, path);
    if (reader == nullptr) {
        throw CToolError(EExitCode::File, error);
    }
    return reader;
}

EConvert TargetOf(const ConvertOptions& options) {
    if (options.m_to != EConvert::ByName) {
        return options.m_to;
    }
    if (fs::path(options.m_out).extension() != ".mcap") {
        throw CToolError(EExitCode::Usage, "say --to tum, redwood, png, ply or pcd for a folder");
    }
    return EConvert::Mcap;
}

size_t Convert(CRecordingReader& reader, EDataset kind, EConvert to, const ConvertOptions& options,
               const fs::path& part) {
    if (to == EConvert::Mcap) {
        return ToFile(reader, options, part);
    }
    if (to == EConvert::Png) {
        return ToPngFolder(reader, part);
    }
    return kind != EDataset::None ? FromDataset(reader, to, part)
                                  : ConvertPlayed(reader, fs::absolute(options.m_in), to, part);
}

} // namespace

EExitCode RunConvert(CCameraControl& /*control*/, const Arguments& arguments) {
    const ConvertOptions& options = arguments.m_convert;
    const EConvert to = TargetOf(options);
    const fs::path in = fs::absolute(options.m_in);
    CConvertTarget target(options.m_out, to == EConvert::Mcap ? ETarget::File : ETarget::Folder);
    const EDataset kind = DatasetIn(in);
    const std::unique_ptr<CRecordingReader> reader = OpenSource(in, kind);
    InstallInterruptHandler();
    size_t added = 0;
    try {
        added = Convert(*reader, kind, to, options, target.Part());
    } catch (const CToolError& error) {
        throw CToolError(error.Code(), target.InWordsOfTheUser(error.what()));
    }
    if (added == 0) {
        throw CToolError(EExitCode::NoFrame, "there is no frame that can be read");
    }
    target.Keep();
    std::printf("%zu of %zu frames\n", added, reader->FrameCount());
    return EExitCode::Ok;
}

} // namespace ox3d::tool
