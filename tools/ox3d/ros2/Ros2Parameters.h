// The features of a camera as parameters of a node: truth values, whole numbers, numbers, texts; enumerations are texts.
// They are set with the checks of "ox3d set".
#ifndef OX3D_TOOL_ROS2_PARAMETERS_H
#define OX3D_TOOL_ROS2_PARAMETERS_H

#include "base/Mutex.h"
#include "ros2/ServiceRequests.h"

namespace ox3d::tool {

// Any thread. While there is no camera, nothing is known, and nothing is set.
class CRos2Parameters : public ros2::IParameters {
public:
    // The handle of an opened camera; null before it closes. Waits while the one before is in use.
    void Attach(void* handle) OX_EXCLUDES(m_mutex);

    std::vector<std::string> Names() override OX_EXCLUDES(m_mutex);
    ros2::ParameterValue Get(const std::string& name) override OX_EXCLUDES(m_mutex);
    ros2::ParameterDescriptor Describe(const std::string& name) override OX_EXCLUDES(m_mutex);
    ros2::SetResult Set(const ros2::Parameter& parameter) override OX_EXCLUDES(m_mutex);
    ros2::SetResult SetAll(std::span<const ros2::Parameter> parameters) override OX_EXCLUDES(m_mutex);
    ros2::SetResult Trigger() override OX_EXCLUDES(m_mutex);

private:
    CMutex m_mutex; // held while the camera is asked, so that it is not closed meanwhile
    void* m_handle OX_GUARDED_BY(m_mutex) = nullptr;
};

} // namespace ox3d::tool

#endif
