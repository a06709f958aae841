// ox3d ros2: cameras for ROS 2, over DDS. What speaks DDS is a module that other commands do without.
#include "ros2/Discovery.h"
#include "ros2/RosTypes.h"
#include "tools/ox3d/Interrupt.h"
#include "tools/ox3d/Module.h"
#include "tools/ox3d/Session.h"
#include "tools/ox3d/commands/Command.h"
#include "tools/ox3d/commands/CommandOptions.h"
#include "tools/ox3d/ros2/Ros2Camera.h"

#include <CLI/CLI.hpp>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <thread>

namespace ox3d::tool {
namespace {

constexpr const char* kModule = "ros2/libox3d-ros2.so";
constexpr uint32_t kMaxDomain = 232;

constexpr const char* kFooter =
    "Publishes until Ctrl-C, below the namespace: depth/image_raw (16UC1, millimetres, 0 = none),\n"
    "color/image_raw (rgb8), camera_info beside each, with --points depth/points (metres); and /tf_static\n"
    "and /diagnostics. With --all, and of several, each has NAMESPACE_SERIAL. One that is lost is looked "
    "for.\n"
    "\n"
    "--distro, or ROS_DISTRO, chooses how nodes are told of each other: with the wrong one nodes of Humble "
    "in\n"
    "the same domain crash, so without either nodes are told nothing; topics work all the same.\n"
    "ROS_DOMAIN_ID is the domain where --domain is not given. ROS_AUTOMATIC_DISCOVERY_RANGE, "
    "ROS_STATIC_PEERS\n"
    "and ROS_LOCALHOST_ONLY say which hosts find it, as they do for nodes.\n"
    "\n"
    "The features of a camera are its node's parameters, and ~/trigger is a software trigger, for clients "
    "with\n"
    "RMW_IMPLEMENTATION=rmw_cyclonedds_cpp alone: others tell requests apart in a way that this one cannot\n"
    "read. For everyone else there are \"ox3d set\", \"ox3d run\" and \"ox3d view\".\n"
    "\n"
    "CYCLONEDDS_URI overrides what is set here. docs/ros2.md tells what receivers have to set.\n"
    "\n"
    "Examples: ox3d ros2 --distro jazzy\n"
    "          ox3d ros2 --all --namespace cell --interface eth1 --points";

ros2::OpenFunction LoadModule() {
    return reinterpret_cast<ros2::OpenFunction>(
        LoadFromModule(kModule, ros2::kOpenSymbol, "publishing for ROS 2", "ox3d-ros2"));
}

const std::map<std::string, EDistro> kDistros = {
    {"humble", EDistro::Humble}, {"jazzy", EDistro::Jazzy}, {"rolling", EDistro::Rolling}};

EDistro DistroOf(const Ros2Options& options) {
    const char* const set = std::getenv("ROS_DISTRO");
    const std::string name = set == nullptr ? "" : set;
    const bool isLikeJazzy = name == "iron" || name == "kilted"; // in what nodes are told
    const auto known = kDistros.find(isLikeJazzy ? "jazzy" : name);
    return options.m_distro == EDistro::Unknown && known != kDistros.end() ? known->second : options.m_distro;
}

uint32_t DomainOf(const Ros2Options& options) {
    if (options.m_domain) {
        return *options.m_domain;
    }
    const char* const set = std::getenv("ROS_DOMAIN_ID");
    const std::string text = set == nullptr || *set == '\0' ? "0" : set;
    uint32_t domain = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), domain);
    if (error != std::errc() || end != text.data() + text.size() || domain > kMaxDomain) {
        throw CToolError(EExitCode::Usage, "ROS_DOMAIN_ID is no number of 0 to 232: " + text);
    }
    return domain;
}

std::vector<DeviceRecord> ChooseCameras(const ProviderChoice& provider, const Ros2Options& options) {
    std::vector<DeviceRecord> present = ListCameras(provider);
    if (options.m_isAll && !present.empty()) {
        return present;
    }
    std::vector<DeviceRecord> chosen;
    for (const std::string& serial : options.m_serials) {
        chosen.push_back(PickCamera(present, serial));
    }
    return chosen.empty() ? std::vector<DeviceRecord>{PickCamera(present, "")} : chosen;
}

CRos2Camera::TopicsPointer MakeTopics(ros2::IDomain& domain, const Ros2Options& options,
                                      const std::string& space) {
    std::string error;
    auto topics =
        ros2::CCameraTopics::Make(domain, {space, !options.m_isBestEffort, options.m_hasCloud}, &error);
    if (topics == nullptr) {
        throw CToolError(EExitCode::Usage, error);
    }
    return topics;
}

CRos2Camera::Services MakeServices(ros2::IDomain& domain, const Ros2Options& options,
                                   const std::string& space) {
    CRos2Camera::Services services;
    services.m_parameters = std::make_unique<CRos2Parameters>();
    if (!options.m_hasNoServices) {
        std::string error;
        services.m_services = ros2::CCameraServices::Make(domain, space, *services.m_parameters, &error);
        if (services.m_services == nullptr) {
            throw CToolError(EExitCode::Host, error);
        }
    }
    return services;
}

// What tells nodes of each other; retained for those that come later, as long as the writer lives.
std::unique_ptr<ros2::IWriter> PublishGraph(ros2::IDomain& domain, EDistro distro,
                                            const std::vector<ros2::GraphNode>& nodes) {
    ros2::Topic topic;
    topic.m_name = "ros_discovery_info";
    topic.m_type = ros2::WireNameOf(ros2::kGraphType);
    topic.m_userData = ros2::UserDataOf(ros2::kGraphType);
    topic.m_isRetained = true;
    topic.m_keptMessages = 1;
    std::string error;
    auto writer = domain.Publish(topic, &error);
    if (writer == nullptr) {
        throw CToolError(EExitCode::Host, error);
    }
    ByteVector cdr;
    PutGraph(&cdr, distro == EDistro::Humble ? ros2::EGraphLayout::Humble : ros2::EGraphLayout::Later,
             domain.Id(), nodes);
    writer->Write(std::make_shared<ros2::CMessage>(std::move(cdr)));
    return writer;
}

} // namespace

void AddRos2(CLI::App& command, Arguments& arguments) {
    Ros2Options& options = arguments.m_ros2;
    AddCommon(command, arguments);
    CLI::Option* const serial =
        command.add_option("--serial", options.m_serials, "publish this camera; may be given more than once");
    command.add_flag("--all", options.m_isAll, "publish all cameras that are there")->excludes(serial);
    command.add_option("--namespace", options.m_namespace, "what topics and frames begin with")
        ->capture_default_str();
    command.add_option("--domain", options.m_domain, "number of the DDS domain")
        ->check(CLI::Range(0U, kMaxDomain));
    command.add_option("--interface", options.m_interfaces,
                       "network interface to use; may be given more than once");
    command.add_option("--peer", options.m_peers, "a host that multicast does not reach");
    CLI::Option* const distro =
        command.add_option("--distro", options.m_distro, "the nodes' ROS 2: humble, jazzy or rolling")
            ->transform(CLI::CheckedTransformer(kDistros));
    command.add_flag("--no-graph", options.m_hasNoGraph, "tell nodes nothing of each other")
        ->excludes(distro);
    command.add_flag("--no-services", options.m_hasNoServices, "offer neither parameters nor a trigger");
    command.add_flag("--points", options.m_hasCloud, "publish point clouds, too");
    command.add_flag("--registered", options.m_isRegistered, "depth registered to color");
    command.add_flag("--best-effort", options.m_isBestEffort,
                     "send nothing twice, for wireless networks; some viewers show nothing then");
    command.footer(kFooter);
}

EExitCode RunRos2(CCameraControl& control, const Arguments& arguments) {
    const Ros2Options& options = arguments.m_ros2;
    const ros2::OpenFunction open = LoadModule();
    ros2::DomainOptions domainOptions;
    domainOptions.m_number = DomainOf(options);
    domainOptions.m_interfaces = options.m_interfaces;
    domainOptions.m_peers = options.m_peers;
    std::string error;
    std::string note;
    if (!ros2::ReadDiscovery(&domainOptions, &note, &error)) {
        throw CToolError(EExitCode::Usage, error);
    }
    if (!note.empty()) {
        std::fprintf(stderr, "ox3d: %s\n", note.c_str());
    }
    const ProviderChoice provider = control.Enter();
    const CScratchFolder scratch; // the library writes its log and calibration files there
    EnterFolder(scratch.Path());
    const std::vector<DeviceRecord> chosen = ChooseCameras(provider, options);
    const std::unique_ptr<ros2::IDomain> domain(open(domainOptions, &error));
    if (domain == nullptr) {
        throw CToolError(EExitCode::Host, error);
    }
    std::vector<std::unique_ptr<CRos2Camera>> cameras;
    std::vector<ros2::GraphNode> nodes;
    for (const DeviceRecord& record : chosen) {
        const std::string serial = TextOf(record.chSerialNumber);
        const bool isOnlyOne =
            chosen.size() == 1 && !options.m_isAll; // names do not follow from how many there are
        const std::string space =
            isOnlyOne ? options.m_namespace : options.m_namespace + "_" + ros2::TokenOf(serial);
        CRos2Camera::TopicsPointer topics =
            MakeTopics(*domain, options, space); // says what is wrong with a name
        cameras.push_back(std::make_unique<CRos2Camera>(provider, record, options.m_isRegistered,
                                                        std::move(topics),
                                                        MakeServices(*domain, options, space)));
        nodes.push_back(cameras.back()->Node());
        std::printf("%s: /%s\n", serial.c_str(), space.c_str());
    }
    std::fflush(stdout);
    const EDistro distro = DistroOf(options);
    std::unique_ptr<ros2::IWriter> graph;
    if (distro != EDistro::Unknown && !options.m_hasNoGraph) {
        graph = PublishGraph(*domain, distro, nodes);
    } else if (!options.m_hasNoGraph) {
        std::fputs("ox3d: neither --distro nor a known ROS_DISTRO: nodes are told nothing of each other\n",
                   stderr);
    }
    while (!IsInterrupted()) {
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
    return EExitCode::Ok;
}

} // namespace ox3d::tool
