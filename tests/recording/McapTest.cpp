// What is recorded into an MCAP file is read as it was, whatever ends the recording and whatever the bytes.
#include "recording/CalibrationReader.h"
#include "recording/FrameEncoder.h"
#include "recording/McapLeftovers.h"
#include "recording/McapRecording.h"
#include "recording/McapRepair.h"
#include "recording/Recorder.h"
#include "tests/support/Files.h"
#include "tests/support/Process.h"
#include "tests/support/Waiting.h"

#include <csignal>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <random>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>

namespace {
// What the system does to a recording.
std::atomic<int> s_syncFailure = 0; // of the next fdatasync()
std::atomic<int> s_syncs = 0;
std::atomic<uint64_t> s_syncedBytes = 0; // of the file that was synced last
std::atomic<int> s_folderSyncs = 0;
std::atomic<uint64_t> s_readBytes = 0;
std::atomic<size_t> s_largestBlock = SIZE_MAX;
std::function<int()> s_onLock;
} // namespace

extern "C" int fdatasync(int file) {
    ++s_syncs;
    struct stat status = {};
    const bool isKnown = fstat(file, &status) == 0;
    errno = s_syncFailure.exchange(0);
    const int result = errno == 0 ? static_cast<int>(syscall(SYS_fdatasync, file)) : -1;
    s_syncedBytes = result == 0 && isKnown ? static_cast<uint64_t>(status.st_size) : s_syncedBytes.load();
    return result;
}

extern "C" int fsync(int file) {
    ++s_folderSyncs;
    return static_cast<int>(syscall(SYS_fsync, file));
}

extern "C" int flock(int file, int how) noexcept {
    errno = s_onLock ? s_onLock() : 0;
    return errno == 0 ? static_cast<int>(syscall(SYS_flock, file, how)) : -1;
}

// By another name here: the system's headers may define an inline one.
extern "C" ssize_t CountedPread(int file, void* to, size_t bytes, off_t at) asm("pread");
ssize_t CountedPread(int file, void* to, size_t bytes, off_t at) {
    s_readBytes += bytes;
    return syscall(SYS_pread64, file, to, bytes, at);
}

// Not inlined: g++ would miss the pairs.
[[gnu::noinline]] void* operator new(size_t bytes) {
    void* const block = bytes > s_largestBlock ? nullptr : malloc(bytes);
    return block != nullptr ? block : throw std::bad_alloc();
}

[[gnu::noinline]] void operator delete(void* block) noexcept {
    free(block);
}

[[gnu::noinline]] void operator delete(void* block, size_t) noexcept {
    free(block);
}

namespace ox3d {
namespace {

namespace fs = std::filesystem;
using ::testing::HasSubstr;

constexpr uint32_t kWidth = 64;
constexpr uint32_t kHeight = 48;

std::vector<uint16_t> DepthOf(uint64_t number) {
    std::mt19937 random(static_cast<uint32_t>(number));
    std::vector<uint16_t> samples(size_t{kWidth} * kHeight);
    std::generate(samples.begin(), samples.end(), [&] { return static_cast<uint16_t>(random()); });
    return samples;
}

// Smooth, as JPEG likes it: planes of 96 x 32.
std::vector<uint8_t> PlanesOf(uint64_t number) {
    std::vector<uint8_t> planes(size_t{96} * 32 * 3);
    for (size_t i = 0; i < planes.size(); ++i) {
        planes[i] = static_cast<uint8_t>(i % 96 + 64 * (i / (size_t{96} * 32)) + number % 8);
    }
    return planes;
}

RecordedCamera Camera() {
    RecordedCamera camera;
    camera.m_facts = {{"serial", "A1"}, {"model", "Cam"}};
    camera.m_calibrationXml = "<SensorCali/>\n";
    camera.m_features = "Gain=3\n";
    camera.m_depthLens = RecordedLens{kWidth, kHeight, 50, 51, 32.5, 24.25, {0.1, 0.2, 0.3, 0.4, 0.5}};
    camera.m_colorLens = RecordedLens{96, 32, 60, 61, 48, 16, {}};
    camera.m_depthToColor = RecordedWay{{0, -1, 0, 1, 0, 0, 0, 0, 1}, {10, 20, 30}};
    return camera;
}

class Mcap : public ::testing::Test {
protected:
    void Open(const RecorderOptions& options = {}) {
        m_recorder = CRecorder::Open(m_path, Camera(), options, &m_error);
        ASSERT_NE(m_recorder, nullptr) << m_error;
    }
    static bool AddTo(CRecorder& recorder, uint64_t number, bool hasColor = true) {
        const std::vector<uint16_t> depth = DepthOf(number);
        const std::vector<uint8_t> planes = PlanesOf(number);
        FrameView frame;
        frame.m_facts = {number, number * 1000, number * 100, number % 2, number % 3 == 0};
        frame.m_facts.m_cameraNs = number * 100 - 7;
        frame.m_depth = {depth.data(), kWidth, kHeight, kWidth};
        frame.m_color = {hasColor ? planes.data() : nullptr, 96, 32, EColorLayout::Planar};
        return recorder.Add(frame);
    }
    RecorderCounts Record(uint64_t frames, const RecorderOptions& options = {}) {
        Open(options);
        for (uint64_t number = 1; number <= frames; ++number) {
            EXPECT_TRUE(AddTo(*m_recorder, number));
        }
        return m_recorder->Finish();
    }
    // The numbers of the frames that can be read, whose depth is then as it was recorded.
    std::vector<uint64_t> Read(const std::string& path) {
        std::vector<uint64_t> numbers;
        ::testing::internal::CaptureStderr();
        m_reader = CRecordingReader::Open(path, &m_error);
        std::vector<uint16_t> samples;
        RecordedFacts facts;
        for (size_t i = 0; m_reader != nullptr && i < m_reader->FrameCount(); ++i) {
            if (m_reader->ReadDepth(i, &samples)) {
                EXPECT_TRUE(m_reader->ReadFacts(i, &facts));
                EXPECT_EQ(samples, DepthOf(facts.m_number));
                EXPECT_EQ(m_reader->HostTimes()[i], facts.m_hostNs);
                numbers.push_back(facts.m_number);
            }
        }
        m_said = ::testing::internal::GetCapturedStderr();
        return numbers;
    }
    // Where the chunks of the closed file are.
    static std::vector<McapChunkInfo> Chunks(const std::string& path) {
        CMcapFile file;
        McapContents contents;
        std::string error;
        EXPECT_TRUE(file.Open(path, false, &error) && ReadMcapSummary(file, &contents)) << error;
        return contents.m_summary.m_chunks;
    }
    static std::vector<McapMessage> MessagesOf(const std::string& path, size_t chunk) {
        CMcapFile file;
        std::string error;
        std::vector<McapMessage> messages;
        EXPECT_TRUE(file.Open(path, false, &error)) << error;
        EXPECT_TRUE(CMcapChunkReader().Read(file, Chunks(path).at(chunk), &messages, &error)) << error;
        return messages;
    }
    // A file with some of its bytes changed; returns its path.
    std::string Spoiled(const std::function<void(std::string&)>& spoil) {
        std::string bytes = test::ReadFile(m_path);
        spoil(bytes);
        std::string path = m_folder.File("spoiled.mcap");
        test::WriteFile(path, bytes);
        return path;
    }

    // The file of a recording that has no frame yet.
    fs::path Part() const {
        const auto isPart = [](const auto& entry) { return entry.path().extension() == ".part"; };
        const auto part = std::find_if(fs::directory_iterator(m_folder.Path()), {}, isPart);
        return part == fs::directory_iterator() ? fs::path() : part->path();
    }

    test::CTempFolder m_folder;
    const std::string m_path = m_folder.File("a.mcap");
    std::unique_ptr<CRecorder> m_recorder;
    std::unique_ptr<CRecordingReader> m_reader;
    std::string m_error;
    std::string m_said;
    McapRepairReport m_report;
};

std::vector<uint64_t> UpTo(uint64_t last) {
    std::vector<uint64_t> numbers(last);
    std::generate(numbers.begin(), numbers.end(), [number = uint64_t{0}]() mutable { return ++number; });
    return numbers;
}

TEST_F(Mcap, IsReadAsItWasRecorded) {
    RecorderOptions options;
    options.m_color = ERecordedColor::Raw;
    const RecorderCounts counts = Record(30, options);
    EXPECT_EQ(counts.m_written, 30U);
    EXPECT_EQ(counts.m_bytes, fs::file_size(m_path));
    EXPECT_EQ(Read(m_path), UpTo(30)) << m_error;
    RecordedFacts facts;
    ASSERT_TRUE(m_reader->ReadFacts(8, &facts));
    EXPECT_EQ(facts.m_ticks, 9000U);
    EXPECT_EQ(facts.m_lostBefore, 1U);
    EXPECT_TRUE(facts.m_isIncomplete);
    EXPECT_EQ(m_reader->HostTimes()[8], 900U);
    const RecordedCamera& camera = m_reader->Camera();
    EXPECT_EQ(camera.m_facts.at("serial"), "A1");
    EXPECT_EQ(camera.m_calibrationXml, "<SensorCali/>\n");
    EXPECT_EQ(camera.m_features, "Gain=3\n");
    ASSERT_TRUE(camera.m_depthLens && camera.m_colorLens);
    EXPECT_EQ(camera.m_depthLens->m_cy, 24.25);
    EXPECT_EQ(camera.m_depthLens->m_distortion[4], 0.5);
    std::vector<uint8_t> planes;
    ASSERT_TRUE(m_reader->ReadColor(4, &planes));
    EXPECT_EQ(planes, PlanesOf(5));
    CMcapFile file;
    McapContents contents;
    ASSERT_TRUE(file.Open(m_path, false, &m_error) && ReadMcapSummary(file, &contents));
    for (const McapChannel& channel : contents.m_summary.m_channels) {
        const std::string metadata(channel.m_metadata.begin(), channel.m_metadata.end());
        const bool isLatched = channel.m_topic == "/tf_static";
        EXPECT_EQ(metadata.find("- history: 1\n  depth: 1\n  reliability: 1\n  durability: 1\n") !=
                      metadata.npos,
                  isLatched);
        EXPECT_EQ(metadata.empty(), channel.m_topic == "/ox3d/frame");
    }
    std::map<std::string, std::string> known;
    EXPECT_TRUE(ReadRecordedFacts(m_path, &known, &m_error));
    EXPECT_EQ(known["model"], "Cam");
}

// The other readers have another notion of CDR, of the definitions, of zstd and of the container.
TEST_F(Mcap, IsReadByReadersThatKnowNothingOfThisProject) {
    if (!fs::exists(OX3D_NODE_MODULES "/node_modules/@mcap/core")) {
        GTEST_SKIP() << "\"./run test\" installs the readers";
    }
    RecorderOptions options;
    options.m_color = ERecordedColor::Raw;
    Record(5, options);
    const auto read = [&](const std::string& path, const char* how) {
        test::CProcess reader({"/usr/bin/env", "node", std::string(OX3D_THIRD_PARTY) + "/read.mjs",
                               OX3D_NODE_MODULES, path, how},
                              m_folder.Path());
        EXPECT_EQ(reader.Finish(), 0);
        return reader.Output();
    };
    const auto sumOf = [](std::span<const uint8_t> bytes) {
        uint64_t sum = 0;
        for (const uint8_t byte : bytes) {
            sum = (sum * 31 + byte) % 4294967291;
        }
        return " bytes, sum " + std::to_string(sum) + "\"";
    };
    const std::vector<uint16_t> depth = DepthOf(1);
    const std::string head = R"({"header":{"stamp":{"sec":0,"nanosec":93},"frame_id":"camera_)";
    const std::string said = read(m_path, "index");
    for (
        const std::string& text : {
            std::string("profile ros2\n"),
            R"(/camera/depth/image_raw log 100 publish 93 )" + head +
                R"(depth_optical_frame"},"height":48,"width":64,"encoding":"16UC1","is_bigendian":0,"step":128,"data":"6144)" +
                sumOf({reinterpret_cast<const uint8_t*>(depth.data()), depth.size() * 2}),
            head +
                R"(color_optical_frame"},"height":32,"width":96,"encoding":"rgb8","is_bigendian":0,"step":288,)",
            head + R"(depth_optical_frame"},"height":48,"width":64,"distortion_model":"plumb_bob",)"
                   R"("d":[0.1,0.2,0.3,0.4,0.5],"k":[50,0,32.5,0,51,24.25,0,0,1],"r":[1,0,0,0,1,0,0,0,1],)"
                   R"("p":[50,0,32.5,0,0,51,24.25,0,0,0,1,0],"binning_x":0,"binning_y":0,)"
                   R"("roi":{"x_offset":0,"y_offset":0,"height":0,"width":0,"do_rectify":false}})",
            // The color camera is turned by 90 degrees and stands at -R' t.
            std::string(
                R"("child_frame_id":"camera_color_optical_frame","transform":{"translation":{"x":-0.02,"y":0.01,"z":-0.03},)"
                R"("rotation":{"x":0,"y":0,"z":-0.7071067811865477,"w":0.7071067811865475}}}]})"),
            std::string(R"({"frame":1,"ticks":1000,"host_ns":100,"lost_before":1,"incomplete":false})"),
            std::string("attachment calibration.xml <SensorCali/>\nattachment features.txt Gain=3\n"),
            std::string(R"(metadata ox3d {"color":"raw","format":"1","model":"Cam","serial":"A1"})"),
            std::string("statistics 26 5\n"),
            std::string(
                R"(counts {"/camera/color/camera_info":5,"/camera/color/image_raw":5,"/camera/depth/camera_info":5,)"
                R"("/camera/depth/image_raw":5,"/ox3d/frame":5,"/tf_static":1})"),
        }) {
        EXPECT_THAT(said, HasSubstr(text));
    }
    // A file that was cut is read in sequence, and by its index once it was repaired.
    const std::string cut = Spoiled([](std::string& bytes) { bytes.resize(bytes.size() - 2000); });
    EXPECT_THAT(read(cut, "sequence"), HasSubstr(R"("/camera/depth/image_raw":)"));
    ASSERT_EQ(RepairMcap(cut, &m_report, &m_error), EMcapRepair::Ok);
    EXPECT_THAT(read(cut, "index"), HasSubstr("statistics 26 5\n"));
    // So is one that was closed and has damaged message indexes.
    const McapChunkInfo first = Chunks(m_path)[0];
    const std::string bent =
        Spoiled([&](std::string& bytes) { bytes[first.m_offset + first.m_lengthBytes + 20] ^= 16; });
    ASSERT_EQ(RepairMcap(bent, &m_report, &m_error), EMcapRepair::Ok);
    EXPECT_EQ(read(bent, "index"), said);
}

TEST_F(Mcap, ColorComesBackFromJpegNearlyAsItWasAndNotAtAllWhenNoneIsWanted) {
    Record(1);
    Read(m_path);
    std::vector<uint8_t> planes;
    ASSERT_TRUE(m_reader->ReadColor(0, &planes));
    const std::vector<uint8_t> expected = PlanesOf(1);
    for (size_t i = 0; i < planes.size(); ++i) {
        ASSERT_NEAR(planes[i], expected[i], 12) << i;
    }
    // Each image is packed into the room that one before it left, or into more.
    CJpegEncoder encoder;
    CJpegDecoder decoder;
    std::mt19937 random(3);
    for (const uint32_t side : {8U, 512U, 16U}) {
        std::vector<uint8_t> noise(size_t{side} * side * 3);
        std::generate(noise.begin(), noise.end(), [&] { return static_cast<uint8_t>(random()); });
        const auto jpeg = encoder.Encode(noise.data(), side, side, 100);
        PngSize size;
        EXPECT_TRUE(decoder.Size(jpeg, 1 << 20, &size.m_width, &size.m_height));
        EXPECT_EQ(size.m_width, side);
        EXPECT_TRUE(decoder.Decode(jpeg, side, side, noise.data()));
    }
    fs::remove(m_path);
    RecorderOptions none;
    none.m_color = ERecordedColor::None;
    Record(1, none);
    EXPECT_EQ(Read(m_path), UpTo(1));
    EXPECT_EQ(m_reader->ColorSize().m_width, 0U);
    EXPECT_FALSE(m_reader->ReadColor(0, &planes));
    fs::remove(m_path);
    Open();
    for (uint64_t number = 1; number <= 40; ++number) { // it comes late
        ASSERT_TRUE(test::Eventually([&] { return AddTo(*m_recorder, number, number > 35); }));
    }
    m_recorder->Finish();
    Read(m_path);
    EXPECT_TRUE(m_reader->ReadColor(35, &planes));
}

TEST_F(Mcap, CutAtAnyByteHasEveryWholeFrameAndIsRepaired) {
    Record(20);
    const std::vector<McapChunkInfo> chunks = Chunks(m_path);
    const std::string cut = m_folder.File("cut.mcap");
    fs::copy_file(m_path, cut);
    std::mt19937 random(5);
    // From long to short, so that one file is cut again and again.
    std::vector<uint64_t> places(1000);
    std::generate(places.begin(), places.end(), [&] { return random() % fs::file_size(m_path); });
    std::sort(places.rbegin(), places.rend());
    for (size_t i = 0; i < places.size(); ++i) {
        fs::resize_file(cut, places[i]);
        const auto whole = static_cast<uint64_t>(
            std::count_if(chunks.begin(), chunks.end(), [&](const McapChunkInfo& chunk) {
                return chunk.m_offset + chunk.m_lengthBytes <= places[i];
            }));
        ASSERT_EQ(Read(cut), UpTo(whole)) << "cut at " << places[i] << ": " << m_error;
        if (i % 20 != 0 || whole == 0) {
            continue;
        }
        const std::string repaired = m_folder.File("repaired.mcap");
        fs::copy_file(cut, repaired, fs::copy_options::overwrite_existing);
        ASSERT_EQ(RepairMcap(repaired, &m_report, &m_error), EMcapRepair::Ok) << m_error;
        EXPECT_EQ(m_report.m_goodChunks, whole);
        EXPECT_EQ(Chunks(repaired).size(), whole);
        EXPECT_EQ(Read(repaired), UpTo(whole));
        // It is then as if the recorder had closed it.
        ASSERT_EQ(RepairMcap(repaired, &m_report, &m_error), EMcapRepair::Ok);
        EXPECT_TRUE(m_report.m_wasClosed);
    }
}

TEST_F(Mcap, KilledAtAnyMomentHasEveryFrameThatWasWritten) {
    const char* const kills = std::getenv("OX3D_KILLS"); // more of them, for docs/recording.md
    for (int round = 0; round < (kills == nullptr ? 5 : std::strtol(kills, nullptr, 10)); ++round) {
        fs::remove(m_path);
        int ends[2];
        ASSERT_EQ(pipe(ends), 0);
        const pid_t child = fork();
        if (child == 0) {
            const auto recorder = CRecorder::Open(m_path, Camera(), {}, &m_error);
            for (uint64_t number = 1;; number += AddTo(*recorder, number) ? 1 : 0) {
                const uint64_t written = recorder->Counts().m_written;
                [[maybe_unused]] const ssize_t told = write(ends[1], &written, sizeof(written));
            }
        }
        close(ends[1]);
        uint64_t written = 0;
        uint64_t told = 0;
        const auto wanted = static_cast<uint64_t>(20 + 37 * (round % 10));
        while (written < wanted && read(ends[0], &told, sizeof(told)) == sizeof(told)) {
            written = told;
        }
        kill(child, SIGKILL);
        waitpid(child, nullptr, 0);
        while (read(ends[0], &told, sizeof(told)) == sizeof(told)) {
            written = told;
        }
        close(ends[0]);
        const std::vector<uint64_t> numbers = Read(m_path);
        EXPECT_GE(numbers.size(), written) << m_error;
        EXPECT_GE(written, wanted);
        EXPECT_EQ(numbers, UpTo(numbers.size()));
    }
}

TEST_F(Mcap, OnAFullDiskEndsWithTheLastWholeFrame) {
    rlimit before{};
    getrlimit(RLIMIT_FSIZE, &before);
    std::signal(SIGXFSZ, SIG_IGN);
    const rlimit few{150000, before.rlim_max};
    setrlimit(RLIMIT_FSIZE, &few);
    Open();
    uint64_t number = 1;
    while (m_recorder->Counts().m_state == EWriting::Ok && number < 10000) {
        number += AddTo(*m_recorder, number) ? 1 : 0;
    }
    const RecorderCounts counts = m_recorder->Finish();
    setrlimit(RLIMIT_FSIZE, &before);
    EXPECT_EQ(counts.m_state, EWriting::Full) << counts.m_error;
    EXPECT_FALSE(AddTo(*m_recorder, number));
    EXPECT_EQ(Read(m_path), UpTo(counts.m_written));
    EXPECT_EQ(m_said, "");
    EXPECT_EQ(fs::file_size(m_path), counts.m_bytes);
}

TEST_F(Mcap, KeepsRoomForItsSummaryAheadOfItsEnd) {
    RecorderOptions options;
    Open(options);
    ASSERT_TRUE(AddTo(*m_recorder, 1));
    ASSERT_TRUE(test::Eventually([&] { return m_recorder->Counts().m_written == 1; }));
    struct stat status {};
    ASSERT_EQ(stat(m_path.c_str(), &status), 0);
    EXPECT_GT(static_cast<uint64_t>(status.st_blocks) * 512, m_recorder->Counts().m_bytes + (1 << 20));
    m_recorder->Finish();
    ASSERT_EQ(stat(m_path.c_str(), &status), 0);
    EXPECT_LT(static_cast<uint64_t>(status.st_blocks) * 512, m_recorder->Counts().m_bytes + (1 << 20))
        << "and gives back what it did not need";
}

TEST_F(Mcap, DamagedInsideLosesTheFramesThatTheDamageTouches) {
    Record(5);
    const std::vector<McapChunkInfo> chunks = Chunks(m_path);
    const auto flipped = [&](uint64_t at) {
        return Spoiled([at](std::string& bytes) { bytes[at] = static_cast<char>(bytes[at] ^ 0x10); });
    };
    const std::vector<uint64_t> others = {1, 2, 4, 5};
    EXPECT_EQ(Read(flipped(chunks[2].m_offset + chunks[2].m_lengthBytes / 2)), others);
    EXPECT_THAT(m_said, HasSubstr("frame 2: "));
    // Without a summary the way past the damage has to be found.
    const uint64_t chunk = chunks[2].m_offset;
    const uint64_t index = chunk + chunks[2].m_lengthBytes;
    const std::string whole = test::ReadFile(m_path);
    const std::tuple<uint64_t, int, std::vector<uint64_t>, const char*> rows[] = {
        {chunk, 0x10, others, "bytes inside are damaged"},
        {chunk + 4, 0x10, others, "bytes inside are damaged"},
        {chunk + 45, 0x10, others, "bytes inside are damaged"},
        {chunk, 0x04, others, "bytes inside are damaged"},  // the opcode of a footer
        {chunk, 0x80, others, "bytes inside are damaged"},  // one of others' own
        {index, 0x08, UpTo(5), "bytes inside are damaged"}, // the opcode of the end of the data
        {index, 0x80, UpTo(5), "bytes inside are damaged"},
        {index + 20, 0x10, UpTo(5), ""}, // a time
        {index + 10, 0x01, UpTo(5), ""}, // its channel, of depth before
        {index + 9, 0x04, UpTo(5), ""},
        {chunk + 12, 0x10, UpTo(5), ""}, // the chunk's time
        {22, 0x10, UpTo(5), ""},         // the profile
        {3, 0x10, UpTo(5), "bytes inside are damaged"},
        {8, 0x10, UpTo(5), "bytes inside are damaged"},
        {12, 0x01, UpTo(5), "bytes inside are damaged"}, // the header's length
        {whole.find("ox3d", 33), 0x10, UpTo(5), "what it says of its camera is damaged"},
        {whole.find("<SensorCali"), 0x10, UpTo(5), "its calibration.xml is damaged and left out"},
        {whole.find("calibration.xml") - 28, 0x10, UpTo(5), "bytes inside are damaged"}, // its length
    };
    const auto repair = [&](const std::string& path, const std::vector<uint64_t>& frames) {
        ASSERT_EQ(RepairMcap(path, &m_report, &m_error), EMcapRepair::Ok) << m_error;
        EXPECT_EQ(Read(path), frames);
        // Other readers believe every word of a summary, and begin with the header.
        const std::string bytes = test::ReadFile(path);
        EXPECT_EQ(bytes.substr(0, 25), whole.substr(0, 25));
        for (const McapChunkInfo& info : Chunks(path)) {
            EXPECT_EQ(info.m_indexes.size(), info.m_offset == chunks[0].m_offset ? 6U : 5U);
            for (const auto& [channel, offset] : info.m_indexes) {
                EXPECT_EQ(bytes.substr(offset, 1) + bytes.substr(offset + 9, 1) + bytes[offset + 15],
                          std::string({7, static_cast<char>(channel), static_cast<char>(info.m_startTime)}));
            }
        }
        McapRepairReport again;
        EXPECT_EQ(RepairMcap(path, &again, &m_error), EMcapRepair::Ok);
        EXPECT_TRUE(again.m_wasClosed && !again.m_isMended);
        EXPECT_EQ(test::ReadFile(path), bytes);
    };
    for (const auto& [at, mask, frames, said] : rows) {
        SCOPED_TRACE(at);
        const auto spoil = [at = at, mask = mask](std::string& bytes) {
            bytes[at] = static_cast<char>(bytes[at] ^ mask);
        };
        repair(Spoiled(spoil), frames); // of a closed file
        EXPECT_TRUE(m_report.m_wasClosed);
        EXPECT_TRUE(m_report.m_isMended || (at > 22 && at < index)) << "what its summary does not say";
        const std::string path = Spoiled(spoil);
        fs::resize_file(path, chunks[4].m_offset + chunks[4].m_lengthBytes + 3);
        EXPECT_EQ(Read(path), frames) << m_error;
        EXPECT_THAT(m_said, HasSubstr(said));
        EXPECT_EQ(m_said.find("of its camera") == std::string::npos,
                  std::string_view(said).find("of its camera") == std::string::npos);
        repair(path, frames);
        EXPECT_EQ(m_report.m_cutBytes, 3U);
    }
    // A new header is not written over what only the summary knows to be there.
    repair(Spoiled([](std::string& bytes) {
               bytes[18 + static_cast<size_t>(bytes[9])] ^= 0x40; // the length behind the header
               bytes[12] ^= 1;
           }),
           UpTo(5));
    EXPECT_EQ(m_reader->Camera().m_facts.at("serial"), "A1");
    Read(flipped(whole.find("<SensorCali")));
    const auto calibration = ReadCalibration(m_reader->CalibrationXml(), kWidth);
    ASSERT_TRUE(calibration) << "it is made anew";
    EXPECT_EQ(calibration->m_depth.m_cy, 24.25);
    EXPECT_EQ(calibration->m_color.m_fx, 40); // of an image of the depth's size
    for (size_t i = 0; i < 3; ++i) {
        EXPECT_NEAR(calibration->m_depthToColor.m_rotation[i], Camera().m_depthToColor->m_rotation[i], 1e-6);
        EXPECT_NEAR(calibration->m_depthToColor.m_translationMm[i], 10.0 * (1 + static_cast<double>(i)),
                    1e-6);
    }
    // Without color the depth camera stands for both: the library plays nothing without a calibration.
    RecorderOptions dark;
    dark.m_color = ERecordedColor::None;
    dark.m_isReplacing = true;
    Record(2, dark);
    const size_t at = test::ReadFile(m_path).find("<SensorCali");
    Read(Spoiled([&](std::string& bytes) { bytes[at] ^= 1; }));
    const auto alone = ReadCalibration(m_reader->CalibrationXml(), kWidth);
    ASSERT_TRUE(alone);
    EXPECT_EQ(alone->m_color.m_fy, 51);
    EXPECT_EQ(alone->m_depthToColor.m_rotation[4], 1);
}

TEST_F(Mcap, RewrittenByAnotherProgramHasEveryFrameAndIsLeftToIt) {
    Record(12);
    for (const int messagesEach : {13, 3}) { // many frames in a chunk, and frames cut apart
        const std::string path = m_folder.File("other.mcap");
        fs::remove(path);
        ByteVector front;
        McapSummary summary;
        PutRecordingFront(Camera(), "other", ERecordedColor::Jpeg, &front, &summary);
        const auto writer = CMcapWriter::Create(path, false, front, summary, &m_error);
        CMcapChunkBuilder builder;
        ByteVector definitions;
        for (const McapChannel& channel : summary.m_channels) {
            PutChannel(&definitions, channel);
        }
        builder.Start(definitions);
        int messages = 0;
        const auto flush = [&] {
            McapChunk chunk;
            ASSERT_TRUE(builder.Finish(&chunk));
            ASSERT_EQ(writer->Append(std::move(chunk)), 0);
            builder.Start({});
        };
        for (size_t frame = 0; frame < 12; ++frame) {
            CMcapFile file;
            CMcapChunkReader reader;
            std::vector<McapMessage> all;
            ASSERT_TRUE(file.Open(m_path, false, &m_error) &&
                        reader.Read(file, Chunks(m_path)[frame], &all, &m_error));
            for (const McapMessage& message : all) {
                PutBytes(builder.Begin(message.m_channel, 0, message.m_logTime, message.m_publishTime),
                         message.m_data);
                if (++messages % messagesEach == 0) {
                    flush();
                }
            }
        }
        flush();
        const uint64_t dataBytes = writer->Bytes();
        ASSERT_EQ(writer->Close(), 0);
        for (const uint64_t bytes : {fs::file_size(path), dataBytes}) {
            fs::resize_file(path, bytes);
            ASSERT_EQ(Read(path), UpTo(12)) << m_error;
            EXPECT_EQ(m_said, "");
            std::vector<uint8_t> planes;
            for (size_t frame = 0; frame < 12; ++frame) {
                ASSERT_TRUE(m_reader->ReadColor(frame, &planes)) << frame;
                EXPECT_NEAR(planes[0], PlanesOf(frame + 1)[0], 3);
            }
            EXPECT_EQ(RepairMcap(path, &m_report, &m_error), EMcapRepair::Foreign);
            EXPECT_THAT(m_error, HasSubstr("another program has rewritten it"));
            EXPECT_EQ(fs::file_size(path), bytes);
        }
    }
}

TEST_F(Mcap, RepairCutsOffNoChunkBehindAnEndOfTheData) {
    Record(3);
    const McapChunkInfo last = Chunks(m_path)[2];
    const std::string path = Spoiled([&](std::string& bytes) {
        bytes += bytes.substr(last.m_offset, last.m_lengthBytes + last.m_indexBytes);
    });
    ASSERT_EQ(RepairMcap(path, &m_report, &m_error), EMcapRepair::Ok) << m_error;
    EXPECT_EQ(Read(path), (std::vector<uint64_t>{1, 2, 3, 3}));
}

TEST_F(Mcap, RepairTakesWhatWasWrittenUntilTheRecorderLetGo) {
    Record(5);
    const std::string whole = test::ReadFile(m_path);
    fs::resize_file(m_path, Chunks(m_path)[2].m_offset);
    s_onLock = [&] {
        test::WriteFile(m_path, whole);
        return 0;
    };
    EXPECT_EQ(RepairMcap(m_path, &m_report, &m_error), EMcapRepair::Ok);
    EXPECT_EQ(test::ReadFile(m_path), whole);
    // A file system without locks is no reason to do nothing.
    s_onLock = [] { return ENOLCK; };
    EXPECT_EQ(RepairMcap(m_path, &m_report, &m_error), EMcapRepair::Ok);
    fs::remove(m_path);
    EXPECT_EQ(Record(2).m_written, 2U);
    s_onLock = nullptr;
}

TEST_F(Mcap, RepairDoesNotTouchWhatOthersRecorded) {
    McapSummary summary;
    summary.m_channels.push_back({1, 0, "/chatter", "cdr", {}});
    ByteVector front;
    PutHeader(&front, "other");
    const auto writer = CMcapWriter::Create(m_path, false, front, summary, &m_error);
    ASSERT_NE(writer, nullptr) << m_error;
    CMcapChunkBuilder builder;
    McapChunk chunk;
    builder.Begin(1, 1, 5, 5);
    ASSERT_TRUE(builder.Finish(&chunk));
    ASSERT_EQ(writer->Append(std::move(chunk)), 0);
    const std::string bytes = test::ReadFile(m_path);
    s_onLock = [] { return ENOLCK; };
    EXPECT_EQ(RepairMcap(m_path, &m_report, &m_error), EMcapRepair::Foreign);
    s_onLock = nullptr;
    EXPECT_EQ(test::ReadFile(m_path), bytes);
    Read(m_path);
    EXPECT_THAT(m_error, HasSubstr("no recording of a camera"));
}

TEST_F(Mcap, ThatIsHostileCostsNoMoreThanItsBytes) {
    ByteVector bytes;
    PutHeader(&bytes, "");
    for (int i = 0; i < 1000; ++i) { // chunks with a byte between them that is no record
        const size_t at = BeginRecord(&bytes, EMcapRecord::Chunk);
        bytes.resize(bytes.size() + 28);
        PutText(&bytes, "zstd");
        Put(&bytes, uint64_t{0});
        EndRecord(&bytes, at);
        bytes.push_back(0);
    }
    const size_t large = bytes.size();
    constexpr uint64_t kLargeBytes = uint64_t{1} << 40U;
    bytes.push_back(static_cast<uint8_t>(EMcapRecord::Chunk));
    Put(&bytes, kLargeBytes);
    bytes.resize(bytes.size() + 28);
    PutText(&bytes, "zstd");
    Put(&bytes, kLargeBytes - 44);
    bytes.resize(bytes.size() + (1 << 20));
    test::WriteFile(m_path, std::string(bytes.begin(), bytes.end()));
    fs::resize_file(m_path, large + 9 + kLargeBytes);
    CMcapFile file;
    McapContents contents;
    std::vector<McapMessage> messages;
    ASSERT_TRUE(file.Open(m_path, false, &m_error));
    s_readBytes = 0;
    ASSERT_TRUE(ScanMcap(file, &contents, &m_error));
    EXPECT_LT(s_readBytes, 4 * bytes.size());
    ASSERT_EQ(contents.m_summary.m_chunks.size(), 1001U);
    EXPECT_FALSE(CMcapChunkReader().Read(file, contents.m_summary.m_chunks[1000], &messages, &m_error));
    EXPECT_EQ(m_error, "it is larger than any frame");
    CMcapChunkBuilder builder;
    McapChunk many;
    for (int i = 0; i < 5000; ++i) {
        builder.Begin(1, 0, 0, 0);
    }
    ASSERT_TRUE(builder.Finish(&many));
    test::WriteFile(m_path, std::string(many.m_bytes.begin(), many.m_bytes.end()));
    CMcapFile crowded;
    ASSERT_TRUE(crowded.Open(m_path, false, &m_error));
    EXPECT_FALSE(CMcapChunkReader().Read(crowded, many.m_info, &messages, &m_error));
}

TEST_F(Mcap, WithoutMemoryOrJpegForAFrameHasTheOthersWhole) {
    RecorderOptions options;
    options.m_queueFrames = SIZE_MAX;
    Open(options);
    const std::vector<uint16_t> depth = DepthOf(1);
    const std::vector<uint8_t> wide(size_t{70000} * 3);
    FrameView frame;
    frame.m_facts.m_number = 1;
    frame.m_depth = {depth.data(), kWidth, kHeight, kWidth};
    frame.m_color = {wide.data(), 70000, 1, EColorLayout::Interleaved};
    s_largestBlock = 4000;
    EXPECT_TRUE(m_recorder->Add(frame));
    EXPECT_TRUE(test::Eventually([&] { return m_recorder->Counts().m_dropped == 1; }));
    s_largestBlock = SIZE_MAX;
    EXPECT_TRUE(m_recorder->Add(frame)); // wider than JPEG can be
    EXPECT_TRUE(AddTo(*m_recorder, 2));
    frame.m_color = {wide.data(), 96, 32, EColorLayout::Jpeg, 0};
    EXPECT_FALSE(m_recorder->Add(frame)) << "packed into nothing";
    const RecorderCounts counts = m_recorder->Finish();
    EXPECT_EQ(counts.m_written, 2U);
    EXPECT_EQ(counts.m_withoutColor, 1U);
    EXPECT_EQ(Read(m_path), UpTo(2));
    RecordedFacts facts;
    EXPECT_TRUE(m_reader->ReadFacts(0, &facts) && facts.m_isColorLost);
    EXPECT_EQ(MessagesOf(m_path, 0).size(), 4U) << "facts, depth, its lens and where the cameras are";
    EXPECT_EQ(MessagesOf(m_path, 1).size(), 5U);
}

TEST_F(Mcap, ThatCannotBePutOnTheDiskSaysSoInEveryCase) {
    RecorderOptions options;
    options.m_syncInterval = std::chrono::milliseconds(0);
    const auto isFailed = [&] { return m_recorder->Counts().m_state == EWriting::Failed; };
    Open(options);
    s_syncFailure = EIO; // before the file has its name
    AddTo(*m_recorder, 1);
    EXPECT_TRUE(test::Eventually(isFailed));
    m_recorder.reset();
    EXPECT_TRUE(fs::is_empty(m_folder.Path()));
    Open(options);
    AddTo(*m_recorder, 1);
    ASSERT_TRUE(test::Eventually([&] { return m_recorder->Counts().m_written == 1; }));
    const int syncs = s_syncs;
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_LE(s_syncs, syncs + 1) << "nothing was written meanwhile";
    s_syncFailure = EIO;
    AddTo(*m_recorder, 2);
    EXPECT_TRUE(test::Eventually(isFailed));
    EXPECT_EQ(m_recorder->Finish().m_error, std::generic_category().message(EIO));
    fs::remove(m_path);
    s_folderSyncs = 0;
    Open();
    AddTo(*m_recorder, 1);
    ASSERT_TRUE(test::Eventually([&] { return m_recorder->Counts().m_written == 1; }));
    EXPECT_GT(s_folderSyncs, 0) << "its name is on the disk";
    s_syncFailure = ENOSPC;
    EXPECT_EQ(m_recorder->Finish().m_state, EWriting::Full);
    EXPECT_EQ(m_recorder->Counts().m_error, std::generic_category().message(ENOSPC));
}

// What a power loss leaves of a file at worst: what was synced, and zeros where more was promised.
TEST_F(Mcap, HasEveryFrameThatWasSyncedWhenThePowerGoes) {
    RecorderOptions options;
    options.m_syncInterval = std::chrono::milliseconds(0);
    Open(options);
    uint64_t syncedBytes = 0;
    for (uint64_t number = 1; number <= 3; ++number) {
        AddTo(*m_recorder, number);
        ASSERT_TRUE(test::Eventually([&] { return m_recorder->Counts().m_written == number; }));
        syncedBytes = fs::file_size(m_path);
        EXPECT_TRUE(test::Eventually([&] { return s_syncedBytes == syncedBytes; })) << "nobody asks for it";
    }
    AddTo(*m_recorder, 4);
    ASSERT_TRUE(test::Eventually([&] { return m_recorder->Counts().m_written == 4; }));
    for (const uint64_t zeros : {0, 5000}) {
        const std::string left = Spoiled([&](std::string& bytes) {
            bytes.resize(syncedBytes);
            bytes.resize(syncedBytes + zeros);
        });
        EXPECT_EQ(Read(left), UpTo(3)) << zeros;
        EXPECT_EQ(RepairMcap(left, &m_report, &m_error), EMcapRepair::Ok) << m_error;
        EXPECT_EQ(Read(left), UpTo(3)) << zeros;
        EXPECT_EQ(Chunks(left).size(), 3U) << "by its index";
    }
}

TEST_F(Mcap, EveryFrameThatWasTakenIsWrittenHoweverItEnds) {
    const std::vector<uint16_t> large(size_t{2000} * 1000, 7);
    FrameView frame;
    frame.m_depth = {large.data(), 2000, 1000, 2000};
    for (int round = 0; round < 5; ++round) {
        fs::remove(m_path);
        Open();
        uint64_t taken = 0;
        std::thread adding([&] {
            while (m_recorder->Add(frame)) {
                ++taken;
            }
        });
        EXPECT_TRUE(test::Eventually([&] { return m_recorder->Counts().m_written > 0; }));
        const uint64_t written = m_recorder->Finish().m_written;
        adding.join();
        EXPECT_EQ(taken, written);
        EXPECT_EQ(m_recorder->Counts().m_dropped, 1U);
    }
}

TEST_F(Mcap, RepairListsBadChunksAndLeavesAloneWhatIsNoneOfItsBusiness) {
    Record(3);
    const McapChunkInfo bad = Chunks(m_path)[1];
    const std::string path = Spoiled([&](std::string& bytes) {
        bytes[bad.m_offset + bad.m_lengthBytes - 20] ^= 1;
        bytes.resize(bytes.size() - 1);
    });
    EXPECT_EQ(RepairMcap(path, &m_report, &m_error), EMcapRepair::Ok);
    ASSERT_EQ(m_report.m_badChunks.size(), 1U);
    EXPECT_THAT(m_report.m_badChunks[0], HasSubstr("byte " + std::to_string(bad.m_offset)));
    EXPECT_EQ(Read(path), (std::vector<uint64_t>{1, 3}));
    test::WriteFile(path, "anything but that");
    EXPECT_EQ(RepairMcap(path, &m_report, &m_error), EMcapRepair::Foreign);
    EXPECT_EQ(test::ReadFile(path), "anything but that");
    EXPECT_EQ(RepairMcap(m_folder.Path(), &m_report, &m_error), EMcapRepair::Foreign);
    fs::remove(m_path);
    Open();
    AddTo(*m_recorder, 1);
    ASSERT_TRUE(test::Eventually([&] { return m_recorder->Counts().m_written == 1; }));
    EXPECT_EQ(RepairMcap(m_path, &m_report, &m_error), EMcapRepair::Busy);
}

TEST_F(Mcap, DropsAndCountsWhatTheQueueHasNoRoomFor) {
    RecorderOptions options;
    options.m_queueFrames = 2;
    options.m_encoders = 1;
    Open(options);
    const std::vector<uint16_t> large(size_t{2000} * 2000, 7);
    FrameView frame;
    frame.m_depth = {large.data(), 2000, 2000, 2000};
    uint64_t added = 0;
    for (int i = 0; i < 50; ++i) {
        added += m_recorder->Add(frame) ? 1 : 0;
    }
    frame.m_depth.m_strideSamples = 1999;
    EXPECT_FALSE(m_recorder->Add(frame));
    const RecorderCounts counts = m_recorder->Finish();
    EXPECT_EQ(counts.m_written, added);
    EXPECT_EQ(counts.m_dropped, 51 - added);
    EXPECT_GT(counts.m_dropped, 1U);
}

TEST_F(Mcap, IsNotWrittenOverWhatIsThereUnlessAsked) {
    test::WriteFile(m_path, "kept");
    EXPECT_EQ(CRecorder::Open(m_path, Camera(), {}, &m_error), nullptr);
    EXPECT_THAT(m_error, HasSubstr("exists already"));
    EXPECT_EQ(CRecorder::Open(m_folder.File("no/a.mcap"), Camera(), {}, &m_error), nullptr);
    EXPECT_THAT(m_error, HasSubstr("No such file or directory"));
    EXPECT_EQ(test::ReadFile(m_path), "kept");
    RecorderOptions force;
    force.m_isReplacing = true;
    s_onLock = [&, isFirst = true]() mutable { // another one looks for leftovers at that moment
        if (std::exchange(isFirst, false)) {
            EXPECT_EQ(RemoveMcapLeftovers(m_path).size(), 1U) << "one that is empty yet";
        }
        return 0;
    };
    Open(force);
    s_onLock = nullptr;
    // What is left of one that is killed at this moment, or a moment later.
    const std::string killed = m_path + ".5.part";
    fs::copy_file(Part(), killed);
    const std::string front = test::ReadFile(killed);
    EXPECT_EQ(RepairMcap(killed, &m_report, &m_error), EMcapRepair::Empty);
    EXPECT_EQ(test::ReadFile(killed), front);
    EXPECT_EQ(RemoveMcapLeftovers(m_path), std::vector<std::string>{killed})
        << "and not the one that is used";
    for (const size_t written : {size_t{0}, size_t{5}}) { // killed before it had written so much as the begin
        test::WriteFile(killed, front.substr(0, written));
        EXPECT_EQ(RemoveMcapLeftovers(m_path).size(), 1U) << written;
    }
    m_recorder.reset(); // before a frame has come
    EXPECT_EQ(test::ReadFile(m_path), "kept");
    // Numbers of processes come again.
    const std::string left = m_path + "." + std::to_string(getpid()) + ".part";
    test::WriteFile(left, "of a run before");
    Record(2, force);
    fs::copy_file(m_path, killed);
    EXPECT_TRUE(RemoveMcapLeftovers(m_path).empty()) << "neither what has frames nor what is no recording";
    fs::remove(left);
    fs::remove(killed);
    EXPECT_EQ(Read(m_path), UpTo(2));
    EXPECT_EQ(std::distance(fs::directory_iterator(m_folder.Path()), {}), 1)
        << "nothing half-written is left";
}

TEST_F(Mcap, ThatCannotBePlayedIsRefusedWithAReason) {
    Record(1);
    const McapChunkInfo chunk = Chunks(m_path)[0];
    const auto put = [](std::string& bytes, uint64_t at, std::string_view what) {
        bytes.replace(at, what.size(), what);
    };
    using std::string_literals::operator""s;
    const std::pair<std::function<void(std::string&)>, const char*> rows[] = {
        {[](std::string& bytes) { bytes.clear(); }, "no MCAP file"},
        {[](std::string& bytes) {
             bytes.replace(0, 2, "PK");
             bytes.pop_back();
         },
         "no MCAP file"},
        {[](std::string& bytes) { bytes.resize(8); }, "no recording of a camera"},
        {[](std::string& bytes) { bytes[bytes.find("\6\0\0\0format\1\0\0\0"s) + 14] = '9'; }, "format 9"},
        {[&](std::string& bytes) { bytes.resize(chunk.m_offset + 100); }, "no whole frame"},
        {[&](std::string& bytes) { put(bytes, chunk.m_offset + 37, "\4\0\0\0lz4x"s); },
         "no whole frame in it: compressed by \"lz4x\""},
        // A frame of 256 TiB, and one that is larger than its bytes could ever be.
        {[&](std::string& bytes) { put(bytes, chunk.m_offset + 25, "\0\0\0\0\0\0\1\0"s); }, "no whole frame"},
        {[&](std::string& bytes) { put(bytes, chunk.m_offset + 25, "\0\0\0\x1f\0\0\0\0"s); },
         "no whole frame"},
    };
    for (const auto& [spoil, reason] : rows) {
        Read(Spoiled(spoil));
        EXPECT_EQ(m_reader, nullptr) << reason;
        EXPECT_THAT(m_error, HasSubstr(reason));
    }
    Read("/dev/null");
    EXPECT_EQ(m_reader, nullptr);
    EXPECT_THAT(m_error, HasSubstr("no regular file"));
}

} // namespace
} // namespace ox3d
