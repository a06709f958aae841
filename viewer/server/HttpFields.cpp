// What libwebsockets knows of a request.
#include "viewer/server/HttpFields.h"

#include <algorithm>
#include <arpa/inet.h>
#include <sys/socket.h>

namespace ox3d::viewer {
namespace {

struct Method {
    lws_token_indexes m_token;
    const char* m_name;
};
constexpr Method kMethods[] = {{WSI_TOKEN_GET_URI, "GET"},
                               {WSI_TOKEN_POST_URI, "POST"},
                               {WSI_TOKEN_PUT_URI, "PUT"},
                               {WSI_TOKEN_HEAD_URI, "HEAD"}};

std::string TextOf(const sockaddr_in& address) {
    char text[INET_ADDRSTRLEN] = "";
    const bool isText =
        address.sin_family == AF_INET && inet_ntop(AF_INET, &address.sin_addr, text, sizeof(text)) != nullptr;
    return isText ? text : "";
}

} // namespace

std::string HeaderOf(lws* wsi, lws_token_indexes token) {
    std::string text(static_cast<size_t>(std::max(0, lws_hdr_total_length(wsi, token))) + 1, '\0');
    const int length = lws_hdr_copy(wsi, text.data(), static_cast<int>(text.size()), token);
    text.resize(static_cast<size_t>(std::max(0, length)));
    return text;
}

std::string HeaderNamed(lws* wsi, const std::string& name) {
    const auto nameLength = static_cast<int>(name.size());
    std::string text(
        static_cast<size_t>(std::max(0, lws_hdr_custom_length(wsi, name.data(), nameLength))) + 1, '\0');
    const int length =
        lws_hdr_custom_copy(wsi, text.data(), static_cast<int>(text.size()), name.data(), nameLength);
    text.resize(static_cast<size_t>(std::max(0, length)));
    return text;
}

std::map<std::string, std::string> QueryOf(lws* wsi) {
    constexpr int kMaxParts = 32;
    std::map<std::string, std::string> query;
    char part[512];
    for (int i = 0; i < kMaxParts; ++i) {
        const int length =
            lws_hdr_copy_fragment(wsi, part, static_cast<int>(sizeof(part)), WSI_TOKEN_HTTP_URI_ARGS, i);
        if (length < 0) {
            break;
        }
        const std::string text(part, static_cast<size_t>(length));
        const size_t equals = std::min(text.find('='), text.size());
        query[text.substr(0, equals)] = text.substr(std::min(equals + 1, text.size()));
    }
    return query;
}

std::string MethodOf(lws* wsi) {
    for (const Method& method : kMethods) {
        if (lws_hdr_total_length(wsi, method.m_token) > 0) {
            return method.m_name;
        }
    }
    return "";
}

std::string PeerAddressOf(lws_sockfd_type socket) {
    sockaddr_in address{};
    socklen_t length = sizeof(address);
    return getpeername(socket, reinterpret_cast<sockaddr*>(&address), &length) == 0 ? TextOf(address) : "";
}

std::string LocalAddressOf(lws_sockfd_type socket) {
    sockaddr_in address{};
    socklen_t length = sizeof(address);
    return getsockname(socket, reinterpret_cast<sockaddr*>(&address), &length) == 0 ? TextOf(address) : "";
}

} // namespace ox3d::viewer
