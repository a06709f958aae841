// What passes between page and server, and what one client is sent.
#include "viewer/server/Client.h"
#include "viewer/server/DepthPacker.h"
#include "viewer/server/StaticFiles.h"

#include "tests/support/Files.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <zstd.h>

namespace ox3d::viewer {
namespace {

using namespace ::testing;

TEST(ViewerMessage, IsReadOrRefused) {
    const auto look = ParseClientMessage(
        R"({"type":"subscribe","camera":"A","streams":["depth","stats","else",7],"fps":12.5})");
    ASSERT_TRUE(look && std::holds_alternative<Subscribe>(*look));
    const auto& wish = std::get<Subscribe>(*look);
    EXPECT_EQ(wish.m_camera, "A");
    EXPECT_TRUE(wish.m_depth && !wish.m_color && wish.m_stats);
    EXPECT_EQ(wish.m_fps, 12.5);
    EXPECT_EQ(SubscribedText(wish, 3),
              R"({"type":"subscribed","camera":"A","index":3,"streams":["depth","stats"]})");

    const auto seen =
        ParseClientMessage(R"({"type":"ack","camera":"A","stream":"color","number":4294967295})");
    ASSERT_TRUE(seen && std::holds_alternative<Acknowledge>(*seen));
    EXPECT_EQ(std::get<Acknowledge>(*seen).m_number, UINT32_MAX);
    EXPECT_EQ(std::get<Acknowledge>(*seen).m_stream, EStream::Color);

    const std::string refused[] = {
        "",
        "{",
        "[]",
        "null",
        R"("subscribe")",
        R"({"type":"subscribe"})",
        std::string(3000, '['),
        R"({"type":"subscribe","camera":"","streams":[]})",
        R"({"type":"subscribe","camera":7,"streams":[]})",
        R"({"type":"subscribe","camera":"A","streams":"depth"})",
        R"({"type":"subscribe","camera":"A","streams":[],"fps":-1})",
        R"({"type":"subscribe","camera":"A","streams":[],"fps":"7"})",
        R"({"type":"ack","camera":"A","stream":"depth","number":4294967296})",
        R"({"type":"ack","camera":"A","stream":"depth","number":-1})",
        R"({"type":"ack","camera":"A","stream":"depth","number":1.5})",
        R"({"type":"ack","camera":"A","stream":"both","number":1})",
        R"({"type":"else","camera":"A"})",
        R"({"type":"subscribe","streams":[],"camera":")" + std::string(257, 'a') + R"("})",
        R"({"type":"subscribe","streams":[],"camera":"A"})" + std::string(kMaxMessageBytes, ' ')};
    for (const std::string& text : refused) {
        EXPECT_FALSE(ParseClientMessage(text)) << text.substr(0, 100);
    }
}

TEST(ViewerImage, HasItsHeaderAndItsSamplesBack) {
    std::vector<uint16_t> samples = {5, 3, 65535, 0, 1, 0, 7, 7};
    ImageHeader header;
    header.m_camera = 0x0201;
    header.m_number = 0x06050403;
    header.m_ticks = 0x0E0D0C0B0A090807;
    header.m_width = 4;
    header.m_height = 2;
    header.m_arrivalUs = 0x1817161514131211;
    CDepthPacker packer;
    const PacketPointer packet = packer.Pack(header, samples);
    ASSERT_NE(packet, nullptr);
    EXPECT_EQ(packer.ValidSamples(), 6U);
    EXPECT_EQ(NumberIn(*packet), header.m_number);
    const uint8_t* const bytes = packet->data() + kHeadroomBytes;
    const size_t payload = packet->size() - kHeadroomBytes - kHeaderBytes;
    const std::vector<uint8_t> wanted = {
        1, 1, 1, 2,  3,  4,  5,  6,  7,  8,  9, 10, 11, 12, 13, 14, 4, 0, 2, 0, static_cast<uint8_t>(payload),
        0, 0, 0, 17, 18, 19, 20, 21, 22, 23, 24};
    EXPECT_EQ(std::vector<uint8_t>(bytes, bytes + kHeaderBytes), wanted);
    std::vector<uint16_t> delta(samples.size());
    ASSERT_EQ(ZSTD_decompress(delta.data(), delta.size() * 2, bytes + kHeaderBytes, payload),
              delta.size() * 2);
    for (size_t i = 0; i < delta.size(); ++i) { // as the page does it
        delta[i] = static_cast<uint16_t>(delta[i] + (i % 4 == 0 ? 0 : delta[i - 1]));
    }
    EXPECT_EQ(delta, samples);
    samples.pop_back();
    EXPECT_EQ(packer.Pack(header, samples), nullptr);
}

TEST(ViewerRequest, IsHeldAgainstNamesOriginsAndToken) {
    const std::string names[] = {"192.168.1.5", "Bench.local"};
    EXPECT_TRUE(IsHostAllowed("192.168.1.5:8580", names, 8580));
    EXPECT_TRUE(IsHostAllowed("bench.LOCAL", names, 8580));
    for (const char* const host :
         {"", "evil.com:8580", "bench.local:80", "bench.local.evil.com", "192.168.1.5:8580@x"}) {
        EXPECT_FALSE(IsHostAllowed(host, names, 8580)) << host;
    }
    EXPECT_TRUE(IsOriginAllowed("", "bench:1"));
    EXPECT_TRUE(IsOriginAllowed("http://Bench:1", "bench:1"));
    for (const char* const origin : {"null", "http://bench:2", "http://bench:1.evil.com", "file://"}) {
        EXPECT_FALSE(IsOriginAllowed(origin, "bench:1")) << origin;
    }
    EXPECT_TRUE(IsBearer("bearer secret", "secret"));
    EXPECT_TRUE(HasTokenProtocol("ox3d.v1, ox3d.token.secret", "secret"));
    for (const char* const other : {"", "secre", "secret2", "sECRET", "secretsecret", "ox3d.token."}) {
        EXPECT_FALSE(IsBearer(std::string("Bearer ") + other, "secret")) << other;
        EXPECT_FALSE(HasTokenProtocol(std::string("ox3d.v1,ox3d.token.") + other, "secret")) << other;
        EXPECT_FALSE(HasTokenProtocol(other, "secret")) << other;
    }
}

PacketPointer Numbered(uint32_t number) {
    ImageHeader header;
    header.m_number = number;
    return MakePacket(header, {});
}

uint32_t TakeNumber(CClient& client) {
    const auto next = client.TakeNext();
    return next && next->m_packet ? NumberIn(*next->m_packet) : 0;
}

TEST(ViewerClient, IsSentTheNewestWhenItHasSeenTheLast) {
    CClient client;
    client.Look(2, {"A", true, false, true});
    EXPECT_FALSE(client.Offer(2, EStream::Color, Numbered(9), 0));
    EXPECT_FALSE(client.Offer(3, EStream::Depth, Numbered(9), 0));
    EXPECT_TRUE(client.Offer(2, EStream::Depth, Numbered(1), 0));
    EXPECT_EQ(TakeNumber(client), 1U);
    EXPECT_FALSE(client.Offer(2, EStream::Depth, Numbered(2), 0)); // not to be sent before the first is seen
    EXPECT_FALSE(client.Offer(2, EStream::Depth, Numbered(3), 0));
    EXPECT_EQ(TakeNumber(client), 0U);
    EXPECT_FALSE(client.Acknowledged(2, EStream::Depth, 7)); // never sent
    EXPECT_TRUE(client.Acknowledged(2, EStream::Depth, 1));
    EXPECT_EQ(TakeNumber(client), 3U);
    const auto isWanted = [&] {
        Wishes wishes;
        client.AddWishes(2, &wishes);
        return wishes.m_depth;
    };
    for (int i = 0; i < 30; ++i) {
        EXPECT_TRUE(isWanted());
        client.Offer(2, EStream::Depth, Numbered(3), 0);
    }
    EXPECT_FALSE(isWanted()); // nothing is encoded for a client that takes nothing
    client.Acknowledged(2, EStream::Depth, 3);
    EXPECT_TRUE(isWanted());
    EXPECT_EQ(TakeNumber(client), 3U);

    client.Look(4, {"B", true, true, false});
    EXPECT_TRUE(client.Acknowledged(2, EStream::Depth, 3) || client.Offer(2, EStream::Depth, Numbered(4), 0));
    client.Offer(4, EStream::Color, Numbered(5), 0);
    EXPECT_EQ(TakeNumber(client), 5U); // cameras take turns
    EXPECT_EQ(TakeNumber(client), 4U);
    EXPECT_THAT(client.Cameras(), ElementsAre(2, 4));
    client.Look(4, {"B"});
    EXPECT_THAT(client.Cameras(), ElementsAre(2));
}

TEST(ViewerClient, HearsTheLastWordOfEach) {
    CClient client;
    client.Look(2, {"A", true});
    EXPECT_TRUE(client.Hear({"state A", "lost", 2, EAudience::All}));
    EXPECT_TRUE(client.Hear({"cameras", "list", 0, EAudience::All}));
    EXPECT_TRUE(client.Hear({"state A", "streaming", 2, EAudience::All}));
    EXPECT_FALSE(client.Hear({"stats A", "30", 2, EAudience::OfStats})); // did not ask
    EXPECT_FALSE(client.Hear({"geometry B", "new", 3, EAudience::OfCamera}));
    EXPECT_EQ(client.TakeNext()->m_text, "streaming");
    EXPECT_EQ(client.TakeNext()->m_text, "list");
    EXPECT_FALSE(client.TakeNext());
}

TEST(ViewerPace, KeepsARateAndABudget) {
    CPace pace(15);
    int shown = 0;
    for (uint64_t frame = 0; frame < 300; ++frame) { // ten seconds of 30 frames, each some time late
        shown += pace.IsDue(1000000 + frame * 33333 + frame * 7919 % 5000) ? 1 : 0;
    }
    EXPECT_NEAR(shown, 150, 2);
    CAllowance allowance(10);
    int allowed = 0;
    for (uint64_t ms = 0; ms < 3000; ++ms) {
        allowed += allowance.Take(1000000 + ms * 1000) ? 1 : 0;
    }
    EXPECT_NEAR(allowed, 40, 1); // ten at once, then ten a second
}

TEST(ViewerFiles, AreThoseOfTheFolderAlone) {
    const test::CTempFolder folder;
    std::filesystem::create_directories(folder.Path() / "page" / "vendor" / ".git");
    const auto put = [&](const char* name) { test::WriteFile(folder.Path() / name, name); };
    for (const char* const name :
         {"secret.txt", "page/index.html", "page/vendor/a.js", "page/.hidden", "page/vendor/.git/x"}) {
        put(name);
    }
    std::filesystem::create_symlink("../secret.txt", folder.Path() / "page" / "link.txt");
    std::vector<std::string> paths;
    for (const auto& [path, file] : ReadStaticFiles((folder.Path() / "page").string())) {
        paths.push_back(path + " " + file->m_type);
    }
    EXPECT_THAT(paths, ElementsAre("/ text/html; charset=utf-8", "/index.html text/html; charset=utf-8",
                                   "/vendor/a.js text/javascript; charset=utf-8"));
    EXPECT_THAT(ReadStaticFiles((folder.Path() / "none").string()), IsEmpty());
}

} // namespace
} // namespace ox3d::viewer
