// ox3d xml, export, import and file: what passes between a camera and files of this host. Nothing that was there is lost:
// files that are there are not replaced without --force, and a new one is whole or not there.
#include "tools/ox3d/Camera.h"
#include "tools/ox3d/Features.h"
#include "tools/ox3d/Interrupt.h"
#include "tools/ox3d/Session.h"
#include "tools/ox3d/Status.h"
#include "tools/ox3d/Suggest.h"
#include "tools/ox3d/TargetFile.h"
#include "tools/ox3d/commands/Command.h"

#include <cstdio>
#include <optional>
#include <ox3drgbd/Ox3dRgbdExtension.h>

namespace ox3d::tool {
namespace {

constexpr uint32_t kMaxXmlBytes = 8U << 20U;
constexpr const char* kFileFeature = "FileSelector"; // its entries are the files of a camera

[[noreturn]] void ThrowStatus(const std::string& what, uint32_t status) {
    throw CToolError(EExitCode::Camera, what + ": " + StatusText(status));
}

std::string XmlOf(void* handle) {
    std::string xml(kMaxXmlBytes, '\0');
    uint32_t length = 0;
    const uint32_t status =
        OX3D_RGBD_GetCameraXML(handle, reinterpret_cast<uint8_t*>(xml.data()), kMaxXmlBytes, &length);
    if (status != OX3D_RGBD_OK || length > xml.size()) {
        ThrowStatus("cannot read the camera's description", status);
    }
    xml.resize(length);
    return xml;
}

void CheckCameraFile(void* handle, const std::string& name) {
    std::vector<std::string> names;
    std::string known;
    const Feature feature = AskFor(handle, kFileFeature).value_or(Feature());
    for (const OX3D_RGBD_FEATURE_ENTRY& entry : feature.m_entries) {
        names.push_back(TextOf(entry.chName));
        known += (known.empty() ? "" : ", ") + names.back();
        if (names.back() == name) {
            return;
        }
    }
    if (!names.empty()) { // else the camera alone knows
        throw CToolError(EExitCode::Usage, "the camera has no file \"" + name + "\"; it has " + known +
                                               DidYouMean(name, names));
    }
}

// The scratch folder goes with the command: the only copy of what the camera had must not.
std::string NotPutBack(const std::string& former, const std::string& source) {
    const std::string saved = SaveBeside(former, source);
    return "could not be put back; " + (saved.empty() ? "no copy could be kept" : "a copy is " + saved);
}

OX3D_RGBD_FILE_ACCESS AccessOf(const std::string& local, const std::string& camera) {
    OX3D_RGBD_FILE_ACCESS access{};
    access.pUserFileName = local.c_str();
    access.pDevFileName = camera.c_str();
    return access;
}

void GetFile(CSession& session, const FileOptions& options, CTargetFile& target) {
    OX3D_RGBD_FILE_ACCESS access = AccessOf(target.Part(), options.m_camera);
    if (const uint32_t status = OX3D_RGBD_FileAccessRead(session.Handle(), &access); status != OX3D_RGBD_OK) {
        ThrowStatus("cannot read the camera's file " + options.m_camera, status);
    }
    CheckInterrupted();
    target.Keep();
}

// Where the camera does not take the new file, it gets the one that it had.
void PutFile(CSession& session, const FileOptions& options, const std::string& source) {
    const std::string former = session.Folder().Path() / "former";
    OX3D_RGBD_FILE_ACCESS access = AccessOf(former, options.m_camera);
    const bool hasFormer = OX3D_RGBD_FileAccessRead(session.Handle(), &access) == OX3D_RGBD_OK;
    CheckInterrupted();
    access = AccessOf(source, options.m_camera);
    const uint32_t status = OX3D_RGBD_FileAccessWrite(session.Handle(), &access);
    if (status == OX3D_RGBD_OK) {
        return;
    }
    std::string after;
    if (hasFormer) {
        access = AccessOf(former, options.m_camera);
        after = OX3D_RGBD_FileAccessWrite(session.Handle(), &access) == OX3D_RGBD_OK
                    ? "; it has its former one"
                    : "; its former one " + NotPutBack(former, source);
    }
    ThrowStatus("the camera does not take the file " + options.m_camera + after, status);
}

} // namespace

EExitCode RunXml(CCameraControl& control, const Arguments& arguments) {
    const ProviderChoice& provider = control.Enter();
    const FileOptions& options = arguments.m_file;
    std::optional<CTargetFile> target;
    if (!options.m_local.empty()) {
        target.emplace(options.m_local, options.Existing());
    }
    CSession session(provider, arguments.m_serial);
    const std::string xml = XmlOf(session.Handle());
    CheckInterrupted();
    if (target) {
        target->Write(xml);
        target->Keep();
    } else {
        std::fwrite(xml.data(), 1, xml.size(), stdout);
    }
    return EExitCode::Ok;
}

EExitCode RunExport(CCameraControl& control, const Arguments& arguments) {
    const ProviderChoice& provider = control.Enter();
    CTargetFile target(arguments.m_file.m_local, arguments.m_file.Existing());
    CSession session(provider, arguments.m_serial);
    if (const uint32_t status = OX3D_RGBD_ExportAllParam(session.Handle(), target.Part().c_str());
        status != OX3D_RGBD_OK) {
        ThrowStatus("cannot export the camera's settings", status);
    }
    CheckInterrupted();
    target.Keep();
    return EExitCode::Ok;
}

EExitCode RunImport(CCameraControl& control, const Arguments& arguments) {
    const ProviderChoice& provider = control.Enter();
    const std::string source = SourceFile(arguments.m_file.m_local);
    CSession session(provider, arguments.m_serial);
    const std::string former = session.Folder().Path() / "former";
    const bool hasFormer = OX3D_RGBD_ExportAllParam(session.Handle(), former.c_str()) == OX3D_RGBD_OK;
    CheckInterrupted();
    const uint32_t status = OX3D_RGBD_ImportAllParam(session.Handle(), source.c_str());
    if (status == OX3D_RGBD_OK) {
        return EExitCode::Ok;
    }
    std::string after = "; some may be set";
    if (hasFormer) {
        after = OX3D_RGBD_ImportAllParam(session.Handle(), former.c_str()) == OX3D_RGBD_OK
                    ? "; it has its former ones"
                    : after + "; the former ones " + NotPutBack(former, source);
    }
    ThrowStatus("the camera does not take the settings of " + source + after, status);
}

EExitCode RunFile(CCameraControl& control, const Arguments& arguments) {
    const ProviderChoice& provider = control.Enter();
    const FileOptions& options = arguments.m_file;
    const bool isGet = options.m_action == "get";
    std::optional<CTargetFile> target;
    std::string source;
    if (isGet) {
        target.emplace(options.m_local, options.Existing());
    } else {
        source = SourceFile(options.m_local);
    }
    CSession session(provider, arguments.m_serial);
    CheckCameraFile(session.Handle(), options.m_camera);
    if (isGet) {
        GetFile(session, options, *target);
    } else {
        PutFile(session, options, source);
    }
    return EExitCode::Ok;
}

} // namespace ox3d::tool
