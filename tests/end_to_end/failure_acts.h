// The actions of the failure table (failure_table_test.cpp). Each action makes something go wrong between the devices
// of a Stage. An Act runs on the test's thread, blocks for PATIENCE at most and returns the code that the caller
// received.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "tests/end_to_end/hand_made_peer.h"
#include "tests/end_to_end/world.h"

namespace Vexo::EndToEnd {

using Lacks = HandMadePeer::Lacks;

inline constexpr const char* DESCRIPTOR = "Vexo.NetManagerStandard.IDistNetService";

struct Stage {
    World world;
    Device& laptop{world.Add("laptop")};
    Device& phone{world.Add("phone")};
    std::unique_ptr<HandMadePeer> tablet;
    std::string peer = phone.NetworkId();  // the network id of the device that the laptop asks
    bool collaborates = false;             // whether the laptop asks over a collaboration

    bool LogHas(const Device& device, const std::string& text) const;
    // Adds the tablet, a third device that the test itself plays. Waits until the tablet and each of the other two
    // devices see each other.
    void BringTablet(Lacks lacks);
};

using Act = std::function<int32_t(Stage&)>;

// The tablet answers the laptop with success. size: the number of bytes to which spaces extend the answer's JSON text.
// declared: passed to ResponseFrame().
Act TabletSucceeds(size_t size = 0, int64_t declared = -1);

int32_t Start(Stage& stage);

// The laptop asks a tablet for its hotspot, and the tablet answers with this frame.
Act TabletAnswers(const std::string& frame, Lacks lacks = Lacks::NOTHING);

// The owner of the laptop does not let the tablet use the laptop's network. The laptop asks the tablet for its hotspot.
// Instead of an answer, the tablet sends a request for the laptop's hotspot. The laptop's service must not receive it.
int32_t TabletAsksInTurn(Stage& stage);

// The laptop asks the phone for its hotspot, which starts the service of the phone. Then a tablet sends this message
// and a start-hotspot request to the phone. waits: whether the tablet waits for the answer before the tablet closes the
// session.
Act TabletSends(const std::string& message, bool waits = true);

// The laptop asks the phone for its hotspot, and the signal kills or freezes the device with the given name. If
// isServing is true, the signal is sent when the phone has begun to serve the request. Otherwise the signal is sent
// before the request.
Act StartWhile(const char* device, int signal, bool isServing);

// The laptop runs collaboration_daemon and asks the phone for a hotspot over the data channel of a collaboration.
// isKilled: whether the phone is killed before the laptop asks. isTablet: whether the laptop asks a tablet instead of
// the phone. frame: the tablet's answer. If the frame is empty, the tablet never becomes ready to receive.
Act Collaborate(bool isKilled = false, bool isTablet = false, const std::string& frame = "");

int32_t CollaborateBothWays(Stage& stage);

// The device, which runs collaboration_daemon, asks the peer for a hotspot over a collaboration. Blocks until the
// device has logged the result code, and returns this code. meanwhile: a function to call after the test has told
// the device to ask.
int32_t AskToCollaborate(
    const Device& device, const std::string& peer, const std::function<void()>& meanwhile = [] {});

int32_t StartFromStranger(Stage& stage);

Act StartWithProductFiles(const char* device, const char* scenario = nullptr, uintmax_t size = 0);

// Writes damaged files to places that a running device watches. The device must name each damaged file in its log and
// keep its earlier state.
int32_t StartAmidJunk(Stage& stage);

int32_t TurnScreenOff(Stage& stage);

// Queries one capability item, and expects that this fails. The value of the item must be empty or false.
Act Query(const char* item);

int32_t ListDevicesWithoutPhone(Stage& stage);

// Sends one request with an interface token and `number`. If `items` is not 0, sends a list of that many items instead
// of `number`. Returns the int32 of the reply, or the status of the call if the reply contains no int32.
Act Raw(uint32_t request, int32_t number, const std::string& token = DESCRIPTOR, size_t items = 0);

}  // namespace Vexo::EndToEnd
