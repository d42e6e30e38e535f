// Fuzzes the check of the first bytes on a new connection: the proof that the client knows the link key, and the TLS
// record that contains the ClientHello. Any device nearby can send these bytes. Byte 0 of an input selects the client:
// m for a member, which knows the link key, or s for a stranger. The bytes from byte 2 on are the client's stream. The
// target computes the proof of a member and inserts the proof before these bytes. The client sends the stream in two
// pieces. Byte 1 is the size of the first piece.
#include "platform/softbus/link/admission.h"

#include <sys/socket.h>

#include <algorithm>
#include <array>

#include "fuzz/fuzz_target.h"

namespace Vexo::SoftBus {
namespace {

constexpr size_t CONTROL_BYTES = 2;
constexpr size_t RECORD_HEADER_BYTES = 5;
constexpr char HANDSHAKE_RECORD = 22;
constexpr char CLIENT_HELLO = 1;

struct Server {
    std::shared_ptr<const Trust::Preamble> preamble;
    asio::io_context reactor;
    Stream admitted;
    std::string firstMessage;
    int admissions = 0;
    Admission admission{reactor,
                        [this](std::string_view proof, std::string_view challenge, std::string_view message) {
                            return preamble->KeyOfProof(proof, challenge, message);
                        },
                        AdmissionLimits{},
                        [this](Stream stream, Trust::ProvenKey, std::string message, const PeerAddress&) {
                            admitted = std::move(stream);
                            firstMessage = std::move(message);
                            ++admissions;
                        }};

    Server()
    {
        Trust::LinkKey key{1, {}};
        key.bytes.fill('k');
        preamble = Trust::Preamble::Make({key}).value();
    }
    void Poll()
    {
        reactor.restart();
        reactor.poll();
    }
};

std::string ReadAll(int socket)
{
    std::string bytes;
    std::array<char, 4096> buffer{};
    ssize_t got = 0;
    while ((got = ::recv(socket, buffer.data(), buffer.size(), MSG_DONTWAIT)) > 0) {
        bytes.append(buffer.data(), static_cast<size_t>(got));
    }
    return bytes;
}

void Send(int socket, std::string_view bytes)
{
    // The server may have closed the connection. Sending then fails.
    (void)!::send(socket, bytes.data(), bytes.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
}

// Returns the record at the start of the bytes, or all bytes if the record is incomplete.
std::string_view FirstRecord(std::string_view bytes)
{
    if (bytes.size() < RECORD_HEADER_BYTES) {
        return bytes;
    }
    const size_t length = static_cast<uint8_t>(bytes[3]) * size_t{256} + static_cast<uint8_t>(bytes[4]);
    return bytes.substr(0, RECORD_HEADER_BYTES + length);
}

std::vector<std::string> Samples()
{
    const std::string body(40, 'h');
    const std::string message = std::string("\x01\0\0\x28", 4) + body;
    const std::string record = std::string("\x16\x03\x01\0\x2C", 5) + message;
    return {"m\xff" + record, "m\x03" + record + "the next record"};
}

bool Run(std::string_view input)
{
    static Server server;
    std::array<int, 2> ends{};
    if (input.size() < CONTROL_BYTES ||
        ::socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0, ends.data()) != 0) {
        return false;
    }
    const UniqueFd client(ends[0]);
    server.admissions = 0;
    server.admission.Accept({UniqueFd(ends[1])}, {"tcp", "192.0.2.7:40117"}, "192.0.2.7");
    const std::string challenge = ReadAll(client.Get());
    Fuzz::Require(challenge.size() == Trust::CHALLENGE_BYTES, "a client receives a challenge");

    const bool isMember = input[0] == 'm';
    std::string stream(input.substr(CONTROL_BYTES));
    if (isMember) {
        stream.insert(0, server.preamble->Prove(challenge, FirstRecord(stream)));
    }
    const size_t first = std::min<size_t>(static_cast<uint8_t>(input[1]), stream.size());
    Send(client.Get(), std::string_view(stream).substr(0, first));
    server.Poll();
    Send(client.Get(), std::string_view(stream).substr(first));
    server.Poll();

    const bool isAdmitted = server.admissions == 1;
    Fuzz::Require(server.admissions <= 1 && (isMember || !isAdmitted), "only a member is admitted, once");
    Fuzz::Require(ReadAll(client.Get()).empty(), "a client receives only the challenge");
    if (isAdmitted) {
        const std::string& message = server.firstMessage;
        Fuzz::Require(message[0] == HANDSHAKE_RECORD && message[RECORD_HEADER_BYTES] == CLIENT_HELLO &&
                          message.size() <= MAX_FIRST_MESSAGE,
                      "the first message is a ClientHello of limited size");
        Fuzz::Require(message + ReadAll(server.admitted.socket.Get()) == stream.substr(Trust::PROOF_BYTES),
                      "the bytes after the first message stay in the stream");
    }
    server.admitted = {};
    ::shutdown(client.Get(), SHUT_RDWR);
    server.Poll();
    return isAdmitted;
}

const Fuzz::Registration REGISTRATION({"softbus_admission", Samples, Run});

}  // namespace
}  // namespace Vexo::SoftBus
