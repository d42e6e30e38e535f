#include "platform/softbus/link/admission.h"

#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <asio/posix/stream_descriptor.hpp>
#include <cerrno>
#include <cstring>

#include "platform/dfx/guard.h"
#include "platform/softbus/softbus_log.h"

namespace Vexo::SoftBus {

namespace {

// The sizes and types in the headers of a TLS record and of the handshake message in it (RFC 8446, 5.1 and 4).
constexpr size_t RECORD_HEADER_BYTES = 5;
constexpr size_t MESSAGE_HEADER_BYTES = 4;
constexpr uint8_t RECORD_OF_HANDSHAKE = 22;
constexpr uint8_t CLIENT_HELLO = 1;
constexpr const char* TOO_MANY = "too many connections wait for their proof";
constexpr size_t HEAD_BYTES = Trust::PROOF_BYTES + RECORD_HEADER_BYTES;

size_t BigEndian(std::string_view bytes)
{
    size_t number = 0;
    for (const char byte : bytes) {
        number = number << 8 | static_cast<uint8_t>(byte);
    }
    return number;
}

// Returns true if the record contains one whole ClientHello and nothing else. The proof covers only this record.
bool IsClientHello(std::string_view record)
{
    const std::string_view message = record.substr(RECORD_HEADER_BYTES);
    return message.size() >= MESSAGE_HEADER_BYTES && message[0] == CLIENT_HELLO &&
           BigEndian(message.substr(1, 3)) == message.size() - MESSAGE_HEADER_BYTES;
}

}  // namespace

// An accepted connection whose client has not proved yet that it has the account's link key or a ticket.
class Admission::Candidate : public std::enable_shared_from_this<Candidate> {
public:
    Candidate(Admission& admission, uint64_t order, Stream stream, PeerAddress from, std::string source)
        : admission_(admission),
          use_(std::move(stream.use)),
          socket_(admission.reactor_, stream.socket.Release()),
          maxWriteBytes_(stream.maxWriteBytes),
          order_(order),
          from_(std::move(from)),
          source_(std::move(source))
    {
    }

    void Start()
    {
        auto challenge = Trust::Preamble::MakeChallenge();
        if (!challenge) {
            admission_.Refuse(shared_from_this(), challenge.error().message);
            return;
        }
        challenge_ = std::move(challenge.value());
        // The send buffer of a new connection has space for the challenge. If send fails, the connection cannot be
        // used.
        if (::send(socket_.native_handle(), challenge_.data(), challenge_.size(), MSG_NOSIGNAL) !=
            static_cast<ssize_t>(challenge_.size())) {
            admission_.Refuse(shared_from_this(), "it accepts no bytes");
            return;
        }
        WaitReadable();
    }

    void Close()
    {
        asio::error_code ignored;
        socket_.close(ignored);
        use_.reset();
    }

    SteadyTime Deadline() const { return deadline_; }
    uint64_t Order() const { return order_; }
    const std::string& Source() const { return source_; }

private:
    bool IsWaiting() const { return socket_.is_open(); }

    void WaitReadable()
    {
        socket_.async_wait(
            asio::posix::descriptor_base::wait_read, [self = shared_from_this()](const asio::error_code& error) {
                const auto read = [&self] { self->Read(); };
                if (!error && self->IsWaiting() && !QuviewDFX::RunGuarded(LOG_SOFTBUS, "reading a proof", read)) {
                    self->admission_.Refuse(self, "an internal error of this device");
                }
            });
    }

    // Reads the proof and the first TLS message, and no byte more, because TLS must read the bytes after them.
    void Read()
    {
        while (received_.size() < wanted_) {
            std::array<char, HEAD_BYTES + MAX_FIRST_MESSAGE> buffer;  // NOLINT(*-member-init): the kernel fills it
            const ssize_t got = ::recv(socket_.native_handle(), buffer.data(), wanted_ - received_.size(), 0);
            if (got < 0 && (errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR)) {
                WaitReadable();
                return;
            }
            if (got <= 0) {
                // The client closed the connection first, as a port scan does. Do not log this as a refusal.
                Close();
                admission_.Forget(shared_from_this());
                return;
            }
            received_.append(buffer.data(), static_cast<size_t>(got));
            if (received_.size() == HEAD_BYTES && !ReadHead()) {
                admission_.Refuse(shared_from_this(), "it uses version 1 of the link, or is a stranger");
                return;
            }
        }
        Judge();
    }

    // Reads the header of the TLS record after the proof. Returns false if this header cannot begin a first TLS
    // message.
    bool ReadHead()
    {
        const std::string_view head = std::string_view(received_).substr(Trust::PROOF_BYTES);
        const size_t length = BigEndian(head.substr(3, 2));
        wanted_ += length;
        return head[0] == RECORD_OF_HANDSHAKE && length > 0 && length <= MAX_FIRST_MESSAGE - RECORD_HEADER_BYTES;
    }

    void Judge()
    {
        const std::string_view proof = std::string_view(received_).substr(0, Trust::PROOF_BYTES);
        const std::string_view message = std::string_view(received_).substr(Trust::PROOF_BYTES);
        const auto self = shared_from_this();
        const auto key = IsClientHello(message) ? admission_.keyOfProof_(proof, challenge_, message) : std::nullopt;
        if (!key) {
            admission_.Refuse(self, "its proof is wrong: it is a stranger, or has another link key");
            return;
        }
        Stream stream{UniqueFd(socket_.release()), maxWriteBytes_, std::move(use_)};
        admission_.Forget(self);
        admission_.proven_(std::move(stream), *key, std::string(message), from_);
    }

    Admission& admission_;
    std::shared_ptr<void> use_;  // declared before socket_, so released after socket_ is closed
    asio::posix::stream_descriptor socket_;
    const size_t maxWriteBytes_;
    const SteadyTime deadline_ = Clock::System().Now() + admission_.limits_.time;
    const uint64_t order_;
    const PeerAddress from_;
    const std::string source_;
    std::string challenge_;
    std::string received_;
    size_t wanted_ = HEAD_BYTES;
};

Admission::~Admission() = default;

void Admission::Accept(Stream stream, const PeerAddress& from, const std::string& source)
{
    if (stopped_) {
        return;
    }
    const bool isMembers = limits_.ofMembers > 0 &&
                           std::find(memberSources_.begin(), memberSources_.end(), source) != memberSources_.end();
    Candidates& room = isMembers ? members_ : strangers_;
    const size_t limit = isMembers ? limits_.ofMembers : limits_.connections;
    MakeRoom(source, room, limit);
    const auto candidate = std::make_shared<Candidate>(*this, ++accepted_, std::move(stream), from, source);
    sources_[source].emplace(candidate->Order(), candidate);
    room.emplace(candidate->Order(), candidate);
    all_.emplace(candidate->Order(), candidate);
    if (!watchesDeadlines_) {
        WatchDeadlines(candidate->Deadline());
    }
    candidate->Start();
}

// Watches the deadlines of all connections with one timer. The timer is not restarted for each connection, so that
// connections of strangers cost little.
void Admission::WatchDeadlines(SteadyTime first)
{
    watchesDeadlines_ = true;
    deadlines_.expires_at(first);
    deadlines_.async_wait([this](const asio::error_code& error) {
        if (error || stopped_) {
            return;
        }
        watchesDeadlines_ = false;
        const auto now = Clock::System().Now();
        while (!all_.empty() && all_.begin()->second->Deadline() <= now) {
            Refuse(CandidatePtr(all_.begin()->second),
                   "no proof within " + std::to_string(limits_.time.count()) + " ms");
        }
        if (!all_.empty()) {
            WatchDeadlines(all_.begin()->second->Deadline());
        }
    });
}

void Admission::MakeRoom(const std::string& source, const Candidates& room, size_t limit)
{
    const auto own = sources_.find(source);
    if (own != sources_.end() && own->second.size() >= limits_.ofSource) {
        Refuse(CandidatePtr(own->second.begin()->second), "too many connections of this source wait for their proof");
    }
    if (room.size() >= limit) {
        Refuse(CandidatePtr(room.begin()->second), TOO_MANY);
    }
}

void Admission::AddMemberSource(const std::string& source)
{
    memberSources_.remove(source);
    memberSources_.push_front(source);
    if (memberSources_.size() > MAX_MEMBER_SOURCES) {
        memberSources_.pop_back();
    }
}

void Admission::LogRefusal(const std::string& source, const std::string& why)
{
    if (const auto leftOut = refusals_.Admit(source)) {
        QuviewDFX::LogWarn(LOG_SOFTBUS, "a connection from %{public}s was refused: %{public}s%{public}s", source, why,
                           *leftOut);
    }
}

void Admission::Refuse(const CandidatePtr& candidate, const std::string& why)
{
    candidate->Close();
    Forget(candidate);
    LogRefusal(candidate->Source(), why);
}

void Admission::Forget(const CandidatePtr& candidate)
{
    all_.erase(candidate->Order());
    strangers_.erase(candidate->Order());
    members_.erase(candidate->Order());
    const auto own = sources_.find(candidate->Source());
    if (own != sources_.end()) {
        own->second.erase(candidate->Order());
        if (own->second.empty()) {
            sources_.erase(own);
        }
    }
}

void Admission::Stop()
{
    stopped_ = true;
    deadlines_.cancel();
    for (const auto& [order, candidate] : all_) {
        candidate->Close();
    }
    all_.clear();
    sources_.clear();
    strangers_.clear();
    members_.clear();
}

}  // namespace Vexo::SoftBus
