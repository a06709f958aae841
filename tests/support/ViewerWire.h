// ViewerWire.h - a client of the viewer's server, byte by byte: also one that no browser would be.
#ifndef OX3D_TESTS_VIEWER_WIRE_H
#define OX3D_TESTS_VIEWER_WIRE_H

#include "viewer/server/Wire.h"

#include <algorithm>
#include <arpa/inet.h>
#include <chrono>
#include <netinet/in.h>
#include <poll.h>
#include <string>
#include <sys/socket.h>
#include <unistd.h>

namespace ox3d::test {

constexpr int kPatienceMs = 60000; // for what has to come
const std::string kAlive = R"({"type":"alive"})";

class CWire {
public:
    explicit CWire(uint16_t port, const char* from = "127.0.0.1")
        : m_port(port), m_socket(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        inet_pton(AF_INET, from, &address.sin_addr);
        m_isOpen = bind(m_socket, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0;
        address.sin_port = htons(port);
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        m_isOpen =
            m_isOpen && connect(m_socket, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0;
    }
    ~CWire() { close(m_socket); }
    CWire(const CWire&) = delete;
    CWire& operator=(const CWire&) = delete;

    bool Send(const std::string& bytes) {
        return m_isOpen &&
               send(m_socket, bytes.data(), bytes.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(bytes.size());
    }
    // So many bytes, or fewer where the server closes.
    std::string Receive(size_t length) {
        std::string got;
        char block[65536];
        pollfd readable{m_socket, POLLIN, 0};
        while (m_isOpen && got.size() < length && poll(&readable, 1, kPatienceMs) > 0) {
            const ssize_t count = recv(m_socket, block, std::min(sizeof(block), length - got.size()), 0);
            m_isOpen = count > 0;
            got.append(block, static_cast<size_t>(std::max<ssize_t>(count, 0)));
        }
        return got;
    }
    bool IsClosed() {
        while (!Receive(1).empty()) {
        }
        return !m_isOpen;
    }
    // Whether the server says good-bye to a WebSocket client, and goes when it is answered, as browsers do.
    bool IsSentAway() {
        std::string head = Receive(2);
        while (head.size() == 2 && head[0] != kClose) {
            const size_t length = static_cast<uint8_t>(head[1]); // what else may come is short
            head = Receive(length).size() == length ? Receive(2) : "";
        }
        return (head.empty() || SendFrame(Receive(static_cast<uint8_t>(head[1])), kClose)) && IsClosed();
    }
    std::string Head() {
        std::string head;
        while (!head.ends_with("\r\n\r\n")) {
            const std::string byte = Receive(1);
            if (byte.empty()) {
                break;
            }
            head += byte;
        }
        return head;
    }
    // Head and body.
    std::string Ask(const std::string& line, const std::string& headers = "", const std::string& body = "") {
        Send(line + " HTTP/1.1\r\n" + HeadersWith(headers) + "\r\n" + body);
        const std::string head = Head();
        const size_t at = head.find("content-length: ");
        return at == head.npos ? head : head + Receive(std::stoul(head.substr(at + 16)));
    }
    bool Upgrade(const std::string& protocols) {
        Send("GET /ws HTTP/1.1\r\n" +
             HeadersWith("Upgrade: websocket\r\nConnection: Upgrade\r\nSec-WebSocket-Version: 13\r\n"
                         "Sec-WebSocket-Key: dGhlIHNhbXBsZSBub25jZQ==\r\nSec-WebSocket-Protocol: " +
                         protocols + "\r\n") +
             "\r\n");
        return Head().starts_with("HTTP/1.1 101");
    }
    bool SendFrame(const std::string& text, char firstByte = '\x81') {
        std::string frame(1, firstByte);
        frame += static_cast<char>(0x80 | (text.size() < 126 ? text.size() : 126));
        if (text.size() >= 126) {
            frame += {static_cast<char>(text.size() >> 8U), static_cast<char>(text.size())};
        }
        return Send(frame + std::string(4, '\0') + text);
    }
    // The next message but signs of life; "closed" where nothing else comes.
    std::string Message() {
        const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(kPatienceMs);
        std::string message = AnyMessage();
        while (message == kAlive && std::chrono::steady_clock::now() < end) {
            message = AnyMessage();
        }
        return message == kAlive ? "closed" : message;
    }
    // The next message, of whatever fragments. Pings are answered.
    std::string AnyMessage() {
        std::string message;
        for (;;) {
            const std::string head = Receive(2);
            if (head.size() < 2) {
                return "closed";
            }
            uint64_t length = static_cast<uint8_t>(head[1]) & 127U;
            if (length >= 126) {
                uint64_t longer = 0;
                for (const char c : Receive(length == 126 ? 2 : 8)) {
                    longer = longer << 8U | static_cast<uint8_t>(c);
                }
                length = longer;
            }
            const std::string part = Receive(length);
            if (head[0] == kPing) { // between the fragments of a message, too
                SendFrame(part, '\x8A');
                continue;
            }
            message += part;
            if ((head[0] & 0x80) != 0) {
                return message;
            }
        }
    }
    // Of the next image; others' words are passed over.
    uint32_t Number() {
        for (;;) {
            const std::string message = Message();
            if (message == "closed" || message[0] == 1) {
                return message.size() < viewer::kHeaderBytes
                           ? 0
                           : static_cast<uint8_t>(message[4]) + 256U * static_cast<uint8_t>(message[5]);
            }
        }
    }

private:
    static constexpr char kClose = '\x88';
    static constexpr char kPing = '\x89';

    std::string HeadersWith(const std::string& own) const {
        const bool hasHost = own.find("Host:") != own.npos;
        return (hasHost ? "" : "Host: 127.0.0.1:" + std::to_string(m_port) + "\r\n") + own;
    }

    const uint16_t m_port;
    const int m_socket;
    bool m_isOpen = false;
};

} // namespace ox3d::test

#endif
