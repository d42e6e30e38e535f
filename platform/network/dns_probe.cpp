#include "platform/network/dns_probe.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <random>
#include <system_error>

#include "platform/base/unique_fd.h"

namespace Vexo::Network {
namespace {

using std::chrono::milliseconds;

constexpr size_t HEADER_SIZE = 12;
constexpr size_t QUESTION_SIZE = 5;       // the root's name, type, class
constexpr size_t RECORD_HEADER_SIZE = 8;  // type, class and time to live; the length of the data follows
constexpr size_t MAX_ANSWER_SIZE = 4096;
constexpr uint16_t TYPE_NS = 2;
constexpr uint16_t CLASS_IN = 1;
constexpr uint16_t FLAG_RECURSION_DESIRED = 0x0100;
constexpr uint16_t FLAG_RESPONSE = 0x8000;
constexpr uint16_t MASK_OPCODE = 0x7800;
constexpr uint16_t MASK_CODE = 0x000f;
constexpr uint8_t POINTER = 0xc0;  // marks a pointer in a name: the rest of the name is at another offset

constexpr milliseconds CANCEL_PERIOD{100};
constexpr milliseconds TRY_LIMIT{1000};  // the longest wait for the answer of one name server
constexpr milliseconds PAUSE{500};       // the pause after all name servers have failed

void Append(std::vector<uint8_t>& bytes, uint16_t value)
{
    bytes.push_back(static_cast<uint8_t>(value >> 8U));
    bytes.push_back(static_cast<uint8_t>(value));
}

// Reads the fields of a DNS answer in order. A read fails if the bytes end before the field ends.
class Reader {
public:
    Reader(const uint8_t* data, size_t size) : data_(data), size_(size) {}

    bool Skip(size_t count)
    {
        if (size_ - at_ < count) {
            return false;
        }
        at_ += count;
        return true;
    }
    bool Read(uint16_t& value)
    {
        if (!Skip(sizeof(value))) {
            return false;
        }
        value = static_cast<uint16_t>(data_[at_ - 2] << 8U | data_[at_ - 1]);
        return true;
    }
    // Skips a name and returns false if the name is damaged. Sets isRoot to true if the name is empty, which means the
    // DNS root, or if it is a pointer to an earlier empty name.
    bool ReadName(bool& isRoot)
    {
        for (bool isFirst = true; at_ < size_; isFirst = false) {
            const size_t length = data_[at_++];
            if (length == 0) {
                isRoot = isFirst;
                return true;
            }
            if (length >= POINTER) {
                const size_t target = at_ < size_ ? (length - POINTER) << 8U | data_[at_] : size_;
                isRoot = isFirst && target < at_ && data_[target] == 0;
                return Skip(1) && target < at_;
            }
            if (length > 63 || !Skip(length)) {
                return false;
            }
        }
        return false;
    }

private:
    const uint8_t* const data_;
    const size_t size_;
    size_t at_ = 0;
};

Failure Malformed(const char* what)
{
    return Fail(ErrorCode::MALFORMED, std::string("DNS answer: ") + what);
}

Failure FailedCall(const std::string& what)
{
    const int number = errno;
    return Fail(ErrorCodeOf(number), what + ": " + std::generic_category().message(number));
}

// Reads the given number of records and succeeds if one of them is an NS record of the DNS root.
Result<void> FindRootServer(Reader& reader, uint16_t count)
{
    for (; count > 0; --count) {
        bool isRoot = false;
        uint16_t type = 0;
        uint16_t dataClass = 0;
        uint16_t dataSize = 0;
        if (!reader.ReadName(isRoot) || !reader.Read(type) || !reader.Read(dataClass) ||
            !reader.Skip(RECORD_HEADER_SIZE - 2 * sizeof(uint16_t)) || !reader.Read(dataSize) ||
            !reader.Skip(dataSize)) {
            return Malformed("a record is cut off");
        }
        if (isRoot && type == TYPE_NS && dataClass == CLASS_IN) {
            return {};
        }
    }
    return Fail(ErrorCode::REFUSED, "DNS answer: it names no name server of the root");
}

// Returns a UDP socket that is connected to the name server, so that it receives no datagrams from others.
Result<UniqueFd> Connect(const std::string& nameServer, const std::string& interface, uint16_t port)
{
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    if (::inet_pton(AF_INET, nameServer.c_str(), &address.sin_addr) != 1) {
        return Fail(ErrorCode::INVALID_ARGUMENT, nameServer + " is no IPv4 address");
    }
    UniqueFd socket(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (!socket) {
        return FailedCall("socket");
    }
    if (!interface.empty() && ::setsockopt(socket.Get(), SOL_SOCKET, SO_BINDTODEVICE, interface.c_str(),
                                           static_cast<socklen_t>(interface.size())) != 0) {
        return FailedCall("bind to " + interface);
    }
    if (::connect(socket.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0) {
        return FailedCall("name server " + nameServer);
    }
    return socket;
}

// Waits until the socket is readable. Returns false when the deadline has passed or the caller has cancelled.
bool WaitToRead(int socket, SteadyTime deadline, const std::function<bool()>& isCancelled)
{
    for (auto now = Clock::System().Now(); now < deadline && !isCancelled(); now = Clock::System().Now()) {
        pollfd wanted{socket, POLLIN, 0};
        const auto time = std::min(std::chrono::ceil<milliseconds>(deadline - now), CANCEL_PERIOD);
        if (::poll(&wanted, 1, static_cast<int>(time.count())) > 0) {
            return true;
        }
    }
    return false;
}

Result<void> AskOne(const std::string& nameServer, const std::string& interface, uint16_t port, SteadyTime deadline,
                    const std::function<bool()>& isCancelled)
{
    const Result<UniqueFd> socket = Connect(nameServer, interface, port);
    if (!socket) {
        return Failure(socket.error());
    }
    const auto id = static_cast<uint16_t>(std::random_device()());
    const std::vector<uint8_t> query = EncodeRootQuery(id);
    if (::send(socket.value().Get(), query.data(), query.size(), 0) < 0) {
        return FailedCall("name server " + nameServer);
    }
    Result<void> outcome = Fail(ErrorCode::TIMED_OUT, "name server " + nameServer + " does not answer");
    while (WaitToRead(socket.value().Get(), deadline, isCancelled)) {
        std::array<uint8_t, MAX_ANSWER_SIZE> answer{};
        const ssize_t size = ::recv(socket.value().Get(), answer.data(), answer.size(), 0);
        if (size < 0 && errno == EAGAIN) {
            continue;  // the kernel dropped a datagram with a wrong checksum after poll
        }
        if (size < 0) {
            return FailedCall("name server " + nameServer);
        }
        outcome = CheckRootAnswer(id, answer.data(), static_cast<size_t>(size));
        // A malformed datagram may have a forged source address. Wait, because the real answer may still arrive.
        if (outcome || outcome.error().code != ErrorCode::MALFORMED) {
            return outcome;
        }
    }
    return outcome;
}

}  // namespace

std::vector<uint8_t> EncodeRootQuery(uint16_t id)
{
    std::vector<uint8_t> bytes;
    bytes.reserve(HEADER_SIZE + QUESTION_SIZE);
    for (const uint16_t field : {id, FLAG_RECURSION_DESIRED, uint16_t{1}, uint16_t{0}, uint16_t{0}, uint16_t{0}}) {
        Append(bytes, field);
    }
    bytes.push_back(0);  // the root's name
    Append(bytes, TYPE_NS);
    Append(bytes, CLASS_IN);
    return bytes;
}

Result<void> CheckRootAnswer(uint16_t id, const uint8_t* data, size_t size)
{
    Reader reader(data, size);
    std::array<uint16_t, HEADER_SIZE / sizeof(uint16_t)> header{};
    for (uint16_t& field : header) {
        if (!reader.Read(field)) {
            return Malformed("the header is cut off");
        }
    }
    const auto [answeredId, flags, questions, answers, authorities, others] = header;
    if (answeredId != id) {
        return Malformed("it has the id of another query");
    }
    if ((flags & FLAG_RESPONSE) == 0 || (flags & MASK_OPCODE) != 0) {
        return Malformed("it is no answer to a query");
    }
    if ((flags & MASK_CODE) != 0) {
        return Fail(ErrorCode::REFUSED, "DNS answer: error code " + std::to_string(flags & MASK_CODE));
    }
    bool isRoot = false;
    uint16_t type = 0;
    uint16_t dataClass = 0;
    if (questions != 1 || !reader.ReadName(isRoot) || !reader.Read(type) || !reader.Read(dataClass) || !isRoot ||
        type != TYPE_NS || dataClass != CLASS_IN) {
        return Malformed("it repeats another question");
    }
    return FindRootServer(reader, answers);
}

Result<void> AskRootServers(const std::vector<std::string>& nameServers, const std::string& interface,
                            SteadyTime deadline, const std::function<bool()>& isCancelled, uint16_t port)
{
    if (nameServers.empty()) {
        return Fail(ErrorCode::NOT_FOUND, "the network has named no name server");
    }
    Result<void> outcome = Fail(ErrorCode::TIMED_OUT, "no time was left to ask a name server");
    const auto isOver = [&] { return Clock::System().Now() >= deadline || isCancelled(); };
    while (!isOver()) {
        for (const std::string& nameServer : nameServers) {
            if (isOver()) {
                return outcome;
            }
            outcome =
                AskOne(nameServer, interface, port, std::min(deadline, Clock::System().Now() + TRY_LIMIT), isCancelled);
            if (outcome) {
                return outcome;
            }
        }
        WaitToRead(-1, std::min(deadline, Clock::System().Now() + PAUSE), isCancelled);
    }
    return outcome;
}

}  // namespace Vexo::Network
