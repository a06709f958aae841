// The wire of the viewer.
#include "viewer/server/Wire.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <nlohmann/json.hpp>

namespace ox3d::viewer {
namespace {

using Json = nlohmann::json;

constexpr size_t kMaxIdBytes = 256;
constexpr double kMaxFps = 1000;

std::string TextIn(const Json& json, const char* key) {
    const auto found = json.find(key);
    return found != json.end() && found->is_string() ? found->get<std::string>() : std::string();
}

std::optional<ClientMessage> SubscribeOf(const Json& json, Subscribe message) {
    const auto streams = json.find("streams");
    if (streams == json.end() || !streams->is_array()) {
        return std::nullopt;
    }
    for (const Json& stream : *streams) {
        message.m_depth = message.m_depth || stream == "depth";
        message.m_color = message.m_color || stream == "color";
        message.m_stats = message.m_stats || stream == "stats";
    }
    const auto fps = json.find("fps");
    if (fps != json.end()) {
        message.m_fps = fps->is_number() ? fps->get<double>() : -1;
        if (!(message.m_fps >= 0 && message.m_fps <= kMaxFps)) {
            return std::nullopt;
        }
    }
    return message;
}

std::optional<ClientMessage> AcknowledgeOf(const Json& json, Acknowledge message) {
    const std::string stream = TextIn(json, "stream");
    const auto number = json.find("number");
    const bool isNumber =
        number != json.end() && number->is_number_unsigned() && number->get<uint64_t>() <= UINT32_MAX;
    if ((stream != "depth" && stream != "color") || !isNumber) {
        return std::nullopt;
    }
    message.m_stream = stream == "depth" ? EStream::Depth : EStream::Color;
    message.m_number = number->get<uint32_t>();
    return message;
}

// Little-endian, one after the other.
class CPacker {
public:
    template <typename Number>
    void Put(Number number) {
        for (size_t i = 0; i < sizeof(Number); ++i) {
            m_bytes[m_at++] = static_cast<uint8_t>(static_cast<uint64_t>(number) >> (8 * i));
        }
    }
    const std::array<uint8_t, kHeaderBytes>& Bytes() const { return m_bytes; }

private:
    std::array<uint8_t, kHeaderBytes> m_bytes{};
    size_t m_at = 0;
};

std::string Lower(std::string_view text) {
    std::string lower(text);
    std::transform(lower.begin(), lower.end(), lower.begin(),
                   [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
    return lower;
}

} // namespace

std::optional<ClientMessage> ParseClientMessage(std::string_view text) {
    if (text.size() > kMaxMessageBytes) {
        return std::nullopt;
    }
    const Json json = Json::parse(text, nullptr, false);
    if (!json.is_object()) {
        return std::nullopt;
    }
    const std::string type = TextIn(json, "type");
    const std::string camera = TextIn(json, "camera");
    if (camera.empty() || camera.size() > kMaxIdBytes) {
        return std::nullopt;
    }
    if (type == "subscribe") {
        return SubscribeOf(json, {camera});
    }
    return type == "ack" ? AcknowledgeOf(json, {camera}) : std::nullopt;
}

std::string SubscribedText(const Subscribe& wish, uint16_t camera) {
    nlohmann::ordered_json json = {
        {"type", "subscribed"}, {"camera", wish.m_camera}, {"index", camera}, {"streams", Json::array()}};
    const std::pair<bool, const char*> streams[] = {
        {wish.m_depth, "depth"}, {wish.m_color, "color"}, {wish.m_stats, "stats"}};
    for (const auto& [isWanted, name] : streams) {
        if (isWanted) {
            json["streams"].push_back(name);
        }
    }
    return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}

std::array<uint8_t, kHeaderBytes> PackHeader(const ImageHeader& header) {
    CPacker packer;
    packer.Put(static_cast<uint8_t>(header.m_stream));
    packer.Put(static_cast<uint8_t>(header.m_codec));
    packer.Put(header.m_camera);
    packer.Put(header.m_number);
    packer.Put(header.m_ticks);
    packer.Put(header.m_width);
    packer.Put(header.m_height);
    packer.Put(header.m_payloadBytes);
    packer.Put(header.m_arrivalUs);
    return packer.Bytes();
}

uint32_t NumberIn(const Packet& packet) {
    constexpr size_t kNumberAt = kHeadroomBytes + 4;
    uint32_t number = 0;
    for (size_t i = 0; i < sizeof(number) && kNumberAt + i < packet.size(); ++i) {
        number |= uint32_t{packet[kNumberAt + i]} << (8 * i);
    }
    return number;
}

uint64_t LeftDelta(std::span<const uint16_t> samples, uint32_t width, std::span<uint16_t> delta) {
    uint64_t valid = 0;
    for (size_t row = 0; width != 0 && row + width <= samples.size(); row += width) {
        delta[row] = samples[row];
        valid += samples[row] != 0 ? 1 : 0;
        for (size_t x = 1; x < width; ++x) {
            delta[row + x] = static_cast<uint16_t>(samples[row + x] - samples[row + x - 1]);
            valid += samples[row + x] != 0 ? 1 : 0;
        }
    }
    return valid;
}

bool IsSameText(std::string_view left, std::string_view right) {
    unsigned different = left.size() == right.size() ? 0 : 1;
    for (size_t i = 0; i < right.size(); ++i) {
        const char other = left.empty() ? '\0' : left[i % left.size()];
        different |= static_cast<unsigned char>(other) ^ static_cast<unsigned char>(right[i]);
    }
    return different == 0;
}

bool HasTokenProtocol(std::string_view protocols, std::string_view token) {
    const std::string wanted = kTokenProtocol + std::string(token);
    bool isThere = false;
    while (!protocols.empty()) {
        const size_t comma = std::min(protocols.find(','), protocols.size());
        std::string_view name = protocols.substr(0, comma);
        name.remove_prefix(std::min(name.find_first_not_of(" \t"), name.size()));
        name = name.substr(0, name.find_last_not_of(" \t") + 1);
        isThere = IsSameText(name, wanted) || isThere;
        protocols.remove_prefix(std::min(comma + 1, protocols.size()));
    }
    return isThere;
}

bool IsBearer(std::string_view authorization, std::string_view token) {
    constexpr std::string_view kScheme = "bearer ";
    return Lower(authorization.substr(0, kScheme.size())) == kScheme &&
           IsSameText(authorization.substr(kScheme.size()), token);
}

bool IsHostAllowed(std::string_view host, std::span<const std::string> names, uint16_t port) {
    const std::string asked = Lower(host);
    std::string ending(1, ':');
    ending += std::to_string(port);
    return std::any_of(names.begin(), names.end(), [&](const std::string& name) {
        return asked == Lower(name) + ending || asked == Lower(name); // a proxy may have another port
    });
}

bool IsOriginAllowed(std::string_view origin, std::string_view host) {
    return origin.empty() || Lower(origin) == "http://" + Lower(host) ||
           Lower(origin) == "https://" + Lower(host); // behind a proxy that speaks TLS
}

bool IsSiteAllowed(std::string_view fetchSite) {
    return fetchSite.empty() || fetchSite == "same-origin" || fetchSite == "none";
}

std::string ErrorText(const std::string& sentence, uint32_t status, const std::string& name) {
    return nlohmann::ordered_json({{"error", sentence}, {"status", status}, {"name", name}})
        .dump(-1, ' ', false, Json::error_handler_t::replace);
}

bool CPace::IsDue(uint64_t nowUs) {
    const auto now = static_cast<double>(nowUs);
    if (m_periodUs > 0 && now + m_periodUs / 2 < m_nextUs) {
        return false;
    }
    // A clock that was set back, or a pause, begins anew.
    const bool isNear = std::fabs(m_nextUs - now) < 2 * m_periodUs;
    m_nextUs = (isNear ? m_nextUs : now) + m_periodUs;
    return true;
}

bool CAllowance::Take(uint64_t nowUs) {
    const double passed = nowUs > m_lastUs ? static_cast<double>(nowUs - m_lastUs) / 1e6 : 0;
    m_lastUs = nowUs;
    m_left = std::min(m_perSecond, m_left + passed * m_perSecond);
    if (m_left < 1) {
        return false;
    }
    m_left -= 1;
    return true;
}

} // namespace ox3d::viewer
