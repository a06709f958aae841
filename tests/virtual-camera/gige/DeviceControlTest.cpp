// What an application can get out of a camera's control channel, and what it cannot.
#include <gmock/gmock.h>
#include <random>

#include "tests/virtual-camera/gige/ControlHarness.h"

namespace ox3d::test {
namespace {

using enum EGvcpStatus;
using enum EGvcpCommand;

uint32_t AddressOf(EFeature id) {
    return CFeatureMap(ETransport::GigE).Find(id)->m_address;
}

TEST(Discovery, tells_who_the_camera_is) {
    CControlHarness camera;
    for (const bool isBroadcast : {true, false}) {
        const Answer answer =
            camera.Give(CControlHarness::Command(0x0002, 7, {}, 0x11), kClient, isBroadcast);
        EXPECT_EQ(answer.m_command, 0x0003);
        EXPECT_EQ(answer.m_requestId, 7);
        ASSERT_EQ(answer.m_payload.size(), 0xF8U);
        EXPECT_EQ(Get32(answer.m_payload.data() + 0x24), camera.m_camera.Config().m_ip);
        EXPECT_STREQ(reinterpret_cast<const char*>(answer.m_payload.data() + 0xD8), "VC00000001");
    }
}

TEST(Discovery, is_answered_to_everybody_where_only_that_finds_the_sender) {
    CControlHarness camera;
    const uint32_t ip = camera.m_camera.Config().m_ip;
    const Endpoint neighbour{ip ^ 2, 40000};
    const Endpoint stranger{ip ^ 0x01000000, 40000};
    const Bytes plain = CControlHarness::Command(0x0002, 1, {}, 0x01);
    const Bytes flagged = CControlHarness::Command(0x0002, 1, {}, 0x11);
    EXPECT_EQ(camera.m_control.AnswerTo(flagged, neighbour), neighbour);
    EXPECT_EQ(camera.m_control.AnswerTo(plain, stranger), stranger);
    EXPECT_EQ(camera.m_control.AnswerTo(flagged, stranger), (Endpoint{0xFFFFFFFF, 40000}));
    const Bytes read = CControlHarness::Command(0x0080, 1, Words({kCcp}), 0x11);
    EXPECT_EQ(camera.m_control.AnswerTo(read, stranger), stranger);
}

TEST(Broadcast, reaches_nothing_but_discovery_and_forced_addresses) {
    CControlHarness camera;
    const Bytes write = CControlHarness::Command(0x0082, 1, Words({kCcp, 2}));
    EXPECT_FALSE(camera.Give(write, kClient, true).m_exists);
    EXPECT_EQ(camera.Read(kCcp).Word(0), 0U);
}

TEST(Registers, several_are_read_and_written_by_one_command) {
    CControlHarness camera;
    camera.TakeControl();
    const Answer written =
        camera.Run(WriteReg, Words({kHeartbeat, 5000, 0x0D08, 1000, 0x0000, 1, 0x0D08, 2}));
    EXPECT_EQ(written.m_status, WriteProtect);
    EXPECT_EQ(written.Word(0), 2U); // two went well
    const Answer read = camera.Run(ReadReg, Words({kHeartbeat, 0x0D08, 0x0000}));
    EXPECT_EQ(read.m_status, Success);
    EXPECT_EQ(read.m_payload, Words({5000, 1000, 0x00010002}));
}

TEST(Registers, the_description_is_read_to_its_last_word) {
    CControlHarness camera;
    std::string xml;
    while (xml.size() < camera.m_camera.Xml().size()) {
        const uint32_t left = static_cast<uint32_t>(camera.m_camera.Xml().size() - xml.size());
        const uint32_t step = std::min(536U, (left + 3) / 4 * 4);
        const Answer answer =
            camera.Run(ReadMem, Words({kXmlArea + static_cast<uint32_t>(xml.size()), step}));
        ASSERT_EQ(answer.m_status, Success);
        ASSERT_EQ(answer.m_payload.size(), 4 + step);
        xml.append(answer.m_payload.begin() + 4, answer.m_payload.end());
    }
    EXPECT_STREQ(xml.c_str(), camera.m_camera.Xml().c_str());
}

TEST(Registers, mistakes_get_the_status_that_names_them) {
    CControlHarness camera;
    camera.TakeControl();
    const struct {
        const char* m_what;
        EGvcpCommand m_command;
        Bytes m_payload;
        EGvcpStatus m_status;
    } table[] = {
        {"a register that is not there", ReadReg, Words({0x00F00000}), InvalidAddress},
        {"no register at all", ReadReg, {}, InvalidParameter},
        {"a crooked address", ReadReg, Words({0x0A02}), BadAlignment},
        {"memory beyond an area", ReadMem, Words({0x0FFC, 8}), InvalidAddress},
        {"memory of length 0", ReadMem, Words({0x0000, 0}), InvalidParameter},
        {"memory of half a word", ReadMem, Words({0x0000, 6}), InvalidParameter},
        {"too much memory", ReadMem, Words({0x0000, 540}), InvalidParameter},
        {"an address without a length", ReadMem, Words({0x0000}), InvalidParameter},
        {"an address without a value", WriteReg, Words({kHeartbeat}), InvalidParameter},
        {"a value out of range", WriteReg, Words({kHeartbeat, 1}), InvalidParameter},
        {"a read-only register", WriteReg, Words({0x0024, 1}), WriteProtect},
        {"the description", WriteMem, Words({kXmlArea, 0}), WriteProtect},
        {"memory that is not there", WriteMem, Words({0x00F00000, 0}), InvalidAddress},
        {"half of a number", WriteMem, Words({AddressOf(EFeature::GevMACAddress), 0}), InvalidParameter},
        {"control in passing", WriteMem, Words({0x09FC, 0, 2}), InvalidParameter},
        {"a command that there is not", static_cast<EGvcpCommand>(0x0100), {}, NotImplemented},
    };
    for (const auto& row : table) {
        EXPECT_EQ(camera.Run(row.m_command, row.m_payload).m_status, row.m_status) << row.m_what;
    }
}

TEST(Control, belongs_to_one_application_and_the_others_may_look) {
    CControlHarness camera;
    EXPECT_EQ(camera.Write(kHeartbeat, 1000), AccessDenied); // nobody has control yet
    EXPECT_EQ(camera.TakeControl(2), Success);
    EXPECT_EQ(camera.TakeControl(2, kOther), AccessDenied);
    EXPECT_EQ(camera.Write(kHeartbeat, 1000, kOther), AccessDenied);
    EXPECT_EQ(camera.Write(kCcp, 0, kOther), AccessDenied);
    EXPECT_EQ(camera.Read(kHeartbeat, kOther).m_status, Success);
    EXPECT_EQ(camera.Read(kCcp, kOther).Word(0), 2U);

    EXPECT_EQ(camera.TakeControl(1), Success); // now exclusively
    EXPECT_EQ(camera.Read(kHeartbeat, kOther).m_status, AccessDenied);
    EXPECT_EQ(camera.Run(ReadMem, Words({0, 4}), kOther).m_status, AccessDenied);
    EXPECT_EQ(camera.Read(kCcp, kOther).Word(0), 1U);

    EXPECT_EQ(camera.Write(kCcp, 0), Success);
    EXPECT_EQ(camera.TakeControl(2, kOther), Success);
}

TEST(Control, ends_with_the_heartbeat_and_takes_stream_and_acquisition_along) {
    CControlHarness camera;
    camera.TakeControl();
    camera.Write(kHeartbeat, 1000);
    camera.Write(0x0D00, 40000);
    camera.Write(AddressOf(EFeature::AcquisitionStart), 1);
    camera.Pass(900);
    EXPECT_EQ(camera.Read(kCcp).Word(0), 2U); // every command is a heartbeat
    camera.Read(kCcp, kOther);                // that of others is not
    camera.Pass(900);
    EXPECT_EQ(camera.Read(kCcp, kOther).Word(0), 2U);
    camera.Pass(200);
    const Answer after =
        camera.Run(ReadReg, Words({kCcp, 0x0D00, AddressOf(EFeature::AcquisitionActive)}), kOther);
    EXPECT_EQ(after.m_payload, Words({0, 0, 0}));
    EXPECT_EQ(camera.m_ports.m_channelWrites, 2); // opened, closed
    EXPECT_EQ(camera.Write(kHeartbeat, 1000), AccessDenied);
}

TEST(Control, starts_from_the_settings_of_a_fresh_camera) {
    CControlHarness camera;
    camera.TakeControl();
    camera.Write(AddressOf(EFeature::TriggerMode), 1);
    camera.Write(kCcp, 0);
    camera.TakeControl(2, kOther);
    EXPECT_EQ(camera.Read(AddressOf(EFeature::TriggerMode)).Word(0), 0U);
}

TEST(Control, runs_a_command_once_that_comes_twice) {
    CControlHarness camera;
    camera.TakeControl();
    const Bytes fire = CControlHarness::Command(0x0082, 900, Words({0x0D04, 0xC0000000 | 2000}));
    const Answer first = camera.Give(fire);
    const Answer second = camera.Give(fire);
    EXPECT_EQ(first.m_status, Success);
    EXPECT_EQ(second.m_requestId, 900);
    EXPECT_EQ(second.m_payload, first.m_payload);
    EXPECT_EQ(camera.m_ports.m_testPackets, 1);
    EXPECT_EQ(camera.Read(0x0D04).Word(0) & 0xFFFF, 2000U);
}

TEST(Control, can_be_denied_by_a_fault) {
    CameraConfig config = FakeConfig();
    config.m_faults.m_isOpenDenied = 1;
    EXPECT_EQ(CControlHarness(config).TakeControl(), AccessDenied);
}

TEST(Resend, is_asked_for_by_the_receiver_alone_and_never_acknowledged) {
    CControlHarness camera;
    camera.TakeControl();
    const Endpoint stream{kClient.m_ip, 61000};
    EXPECT_FALSE(camera.Run(PacketResend, Words({5, 0xFF000002, 7}), stream).m_exists);
    EXPECT_FALSE(camera.Run(PacketResend, Words({5, 2, 7}), {0x7F000063, 61000}).m_exists);
    EXPECT_FALSE(camera.Run(PacketResend, Words({5, 2}), stream).m_exists);
    ASSERT_EQ(camera.m_ports.m_resends.size(), 1U);
    EXPECT_EQ(camera.m_ports.m_resends[0].m_blockId, 5);
    EXPECT_EQ(camera.m_ports.m_resends[0].m_firstPacket, 2U);
    EXPECT_EQ(camera.m_ports.m_resends[0].m_lastPacket, 7U);
}

Bytes ForcedAddress(uint32_t macLow, uint32_t ip, uint32_t mask) {
    return Words({0x0200, macLow, 0, 0, 0, ip, 0, 0, 0, mask, 0, 0, 0, 0});
}

TEST(ForceIp, moves_the_camera_whose_hardware_address_it_names) {
    CControlHarness camera;
    const auto force = [&](const Bytes& payload, const Endpoint& from = kClient) {
        return camera.Give(CControlHarness::Command(0x0004, ++camera.m_requestId, payload), from, true);
    };
    EXPECT_FALSE(force(ForcedAddress(9, 0x7F000009, 0xFF000000)).m_exists);
    EXPECT_EQ(force(ForcedAddress(1, 0x7F000009, 0xFF00FF00)).m_status, InvalidParameter);
    EXPECT_EQ(force(ForcedAddress(1, 0x7F000009, 0xFF000000)).m_status, Success);
    EXPECT_EQ(camera.m_camera.Identity().m_ip, 0x7F000009U);
    camera.TakeControl();
    EXPECT_EQ(force(ForcedAddress(1, 0x7F00000A, 0xFF000000), kOther).m_status, AccessDenied);
}

TEST(Restart, is_announced_ends_control_and_leaves_the_camera_dark_for_a_while) {
    CameraConfig config = FakeConfig();
    config.m_faults.m_replugAfterMs = 600000;
    CControlHarness camera(config);
    camera.TakeControl();
    camera.Write(AddressOf(EFeature::EventSelector), 2);
    camera.Write(AddressOf(EFeature::EventNotification) + 8, 1);
    EXPECT_EQ(camera.Write(AddressOf(EFeature::DeviceReset), 1), Success);
    ASSERT_EQ(camera.m_ports.m_events.size(), 1U);
    EXPECT_EQ(camera.m_ports.m_events[0].m_id, kEventDeviceLost);
    EXPECT_FALSE(camera.Read(kCcp).m_exists);
    EXPECT_TRUE(camera.m_control.IsDark(camera.m_now));
}

TEST(Faults, count_from_the_first_taking_of_control) {
    CameraConfig config = FakeConfig();
    config.m_faults.m_silentAfterMs = 2000;
    config.m_faults.m_silentForMs = 5000;
    config.m_faults.m_rebootAfterMs = 9000;
    CControlHarness camera(config);
    camera.Pass(10000);
    EXPECT_TRUE(camera.Read(kCcp).m_exists);
    camera.TakeControl();
    camera.Pass(2100);
    EXPECT_FALSE(camera.Read(kCcp).m_exists);
    camera.Pass(5000);
    EXPECT_EQ(camera.Read(kCcp).Word(0), 0U); // the heartbeat ran out meanwhile
    const uint32_t plugs = camera.m_camera.PlugCount();
    camera.Pass(2000);
    camera.Pass(2000);
    EXPECT_EQ(camera.m_camera.PlugCount(), plugs + 1); // once
}

TEST(Faults, a_broken_description_ends_in_noise) {
    CameraConfig config = FakeConfig();
    config.m_faults.m_isXmlBroken = 1;
    CControlHarness camera(config);
    const uint32_t end = kXmlArea + static_cast<uint32_t>(camera.m_camera.Xml().size()) / 4 * 4;
    EXPECT_EQ(camera.Read(end - 4).Word(0), 0x3C3C3C3CU);
    EXPECT_EQ(camera.Read(kXmlArea).Word(0), 0x3C3F786DU); // "<?xm"
}

TEST(Temperature, is_told_every_second_to_those_who_ask) {
    CControlHarness camera;
    camera.Pass(5000);
    EXPECT_TRUE(camera.m_ports.m_events.empty());
    camera.TakeControl();
    camera.Write(AddressOf(EFeature::EventSelector), 1);
    camera.Write(AddressOf(EFeature::EventNotification) + 4, 1);
    for (int i = 0; i < 4; ++i) {
        camera.Pass(500);
    }
    ASSERT_EQ(camera.m_ports.m_events.size(), 2U);
    const CameraEvent& event = camera.m_ports.m_events[0];
    EXPECT_EQ(event.m_id, kEventDeviceTemperature);
    EXPECT_NEAR(std::bit_cast<float>(Get32(event.m_data.data())), 34, 1);
}

TEST(Files, a_file_goes_through_the_file_features_and_comes_back) {
    CControlHarness camera;
    camera.TakeControl();
    const auto run = [&](uint32_t operation) {
        camera.Write(AddressOf(EFeature::FileOperationSelector), operation);
        camera.Write(AddressOf(EFeature::FileOperationExecute), 1);
        return camera.Read(AddressOf(EFeature::FileOperationStatus)).Word(0);
    };
    Bytes piece(4 + 400);
    Put32(piece.data(), kFileBuffer);
    for (size_t i = 4; i < piece.size(); ++i) {
        piece[i] = static_cast<uint8_t>(i * 7);
    }
    camera.Write(AddressOf(EFeature::FileSelector), 3);
    camera.Write(AddressOf(EFeature::FileOpenMode), 2);
    camera.Write(AddressOf(EFeature::FileAccessLength), 400);
    EXPECT_EQ(run(0), 0U);
    EXPECT_EQ(camera.Run(WriteMem, piece).m_status, Success);
    EXPECT_EQ(run(3), 0U);
    EXPECT_EQ(camera.Read(AddressOf(EFeature::FileSize)).Word(0), 400U);
    EXPECT_EQ(camera.Run(WriteMem, Words({kFileBuffer, 0, 0, 0, 0})).m_status, Success);
    EXPECT_EQ(run(2), 0U);
    EXPECT_EQ(camera.Run(ReadMem, Words({kFileBuffer, 400})).m_payload, piece);
}

TEST(Datagrams, that_are_no_commands_are_passed_over) {
    CControlHarness camera;
    const Bytes read = CControlHarness::Command(0x0080, 3, Words({kCcp}));
    Bytes wrongKey = read;
    wrongKey[0] = 0x41;
    Bytes acknowledgement = read;
    acknowledgement[3] = 0x81;
    Bytes noId = read;
    noId[7] = 0;
    for (const Bytes& datagram : {Bytes(), wrongKey, acknowledgement, noId, Bytes(7, 0x42)}) {
        EXPECT_FALSE(camera.Give(datagram).m_exists);
    }
    EXPECT_EQ(camera.Give(Bytes(read.begin(), read.end() - 4)).m_status, InvalidHeader);
    EXPECT_FALSE(
        camera.Give(CControlHarness::Command(0x0080, 4, Words({kCcp}), 0)).m_exists); // no ack wanted
}

// Runs under the sanitizers, too.
TEST(Datagrams, of_any_content_and_length_do_no_harm) {
    CControlHarness camera;
    camera.TakeControl();
    std::mt19937 dice(4);
    const uint16_t commands[] = {0x0002, 0x0004, 0x0040, 0x0080, 0x0082, 0x0084, 0x0086};
    const uint32_t places[] = {0, 0x0A00, 0x0D00, kFeatureArea, kFileBuffer, kXmlArea, 0xFFFFFF00};
    for (int i = 0; i < 50000; ++i) {
        Bytes payload(dice() % 140 * 4);
        std::generate(payload.begin(), payload.end(), [&] { return static_cast<uint8_t>(dice()); });
        if (payload.size() >= 8) {
            Put32(payload.data(), places[dice() % 7] + dice() % 80 * 4);
        }
        Bytes datagram =
            CControlHarness::Command(commands[dice() % 7], static_cast<uint16_t>(dice()), payload);
        if (dice() % 4 == 0) {
            datagram.resize(dice() % (datagram.size() + 1));
        } else if (dice() % 4 == 0) {
            datagram[dice() % datagram.size()] = static_cast<uint8_t>(dice());
        }
        camera.Give(datagram, dice() % 2 == 0 ? kClient : kOther, dice() % 8 == 0);
        if (i % 100 == 0) {
            camera.TakeControl();
        }
    }
    camera.Pass(70000);
    EXPECT_EQ(camera.TakeControl(2, kOther), Success);
}

} // namespace
} // namespace ox3d::test
