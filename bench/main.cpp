// main.cpp - the program ox3d_bench: measures kernels, limits, peers, the log and the frame path in one shuffled
// run and prints tables of ratios. Takes the options of Google Benchmark and --plot_data=FILE.
#include "base/TempFolder.h"
#include "bench/RatioTable.h"
#include "bench/Rows.h"
#include "bench/Tiers.h"

#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstring>
#include <exception>
#include <filesystem>
#include <string>
#include <vector>

namespace {

// The library and the loggers write into the working folder.
class CWorkFolder : public ox3d::CTempFolder {
public:
    CWorkFolder() { std::filesystem::current_path(Path()); }
    ~CWorkFolder() {
        std::error_code ignored;
        std::filesystem::current_path(std::filesystem::temp_directory_path(), ignored);
    }
};

// Takes the option out of the arguments, which the benchmark library would not know.
std::string TakeOption(std::vector<char*>* arguments, const char* option) {
    const size_t length = std::strlen(option);
    for (auto argument = arguments->begin(); argument != arguments->end(); ++argument) {
        if (std::strncmp(*argument, option, length) == 0) {
            std::string value = *argument + length;
            arguments->erase(argument);
            return value;
        }
    }
    return {};
}

void AddPeers() {
#ifdef OX3D_BENCH_OPENCV
    ox3dbench::AddOpenCvRows();
#else
    ox3dbench::AddSkipped("OpenCV (rgbd, imgproc) is not installed");
#endif
#ifdef OX3D_BENCH_YUV
    ox3dbench::AddYuvRows();
#else
    ox3dbench::AddSkipped("libyuv is not installed");
#endif
#ifdef OX3D_BENCH_OPEN3D
    ox3dbench::AddOpen3dRows();
#else
    ox3dbench::AddSkipped("Open3D is not installed");
#endif
#ifdef OX3D_BENCH_PCL
    ox3dbench::AddPclRows();
#else
    ox3dbench::AddSkipped("PCL is not installed (./run bench --all-peers)");
#endif
#ifdef OX3D_BENCH_SPDLOG
    ox3dbench::AddSpdlogRows();
#else
    ox3dbench::AddSkipped("spdlog is not installed");
#endif
}

int Run(std::vector<char*> arguments) {
    const std::string plot = TakeOption(&arguments, "--plot_data=");
    int count = static_cast<int>(arguments.size());
    benchmark::Initialize(&count, arguments.data());
    if (benchmark::ReportUnrecognizedArguments(count, arguments.data())) {
        return 2;
    }
    ox3dbench::AddKernelRows();
    ox3dbench::AddAlignRows();
    ox3dbench::AddStereoRows();
    ox3dbench::AddFrameRows();
    ox3dbench::AddCppRows();
    ox3dbench::AddThreadRows();
    ox3dbench::AddLogRows();
    AddPeers();
    for (const char* tier : {"SSE2", "AVX2", "AVX-512"}) {
        const auto here = ox3dbench::TiersHere();
        bool isHere = false;
        for (const ox3dbench::Tier& candidate : here) {
            isHere = isHere || std::strcmp(candidate.m_name, tier) == 0;
        }
        if (!isHere) {
            ox3dbench::AddSkipped(std::string("this processor has no ") + tier);
        }
    }
    const CWorkFolder folder;
    ox3dbench::CRatioTable table(plot);
    return benchmark::RunSpecifiedBenchmarks(&table) > 0 ? 0 : 1;
}

} // namespace

int main(int argc, char** argv) {
    try {
        return Run({argv, argv + argc});
    } catch (const std::exception& error) {
        std::fprintf(stderr, "ox3d_bench: %s\n", error.what());
        return 1;
    }
}
