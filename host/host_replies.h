// Writes the replies of ability 1164: the result code, then the answer as JSON. Answered sends a reply at once.
// AnsweredLater sends a reply later, so that no IPC worker waits for the answer. Each function returns the status of
// the reply. Any thread may call the functions, which keep no state.
#pragma once

#include <cstdint>
#include <future>
#include <memory>

#include "interfaces/host_answers_json.h"
#include "platform/ipc/ipc_types.h"
#include "platform/ipc/later_reply.h"
#include "platform/ipc/parcel.h"

namespace Vexo::Host {

inline int32_t WriteFailure(MessageParcel& reply, int32_t result)
{
    return reply.WriteInt32(result) ? IPC_OK : IPC_BAD_DATAGRAM;
}

template <typename Value>
int32_t Write(MessageParcel& reply, int32_t result, const Value& answer)
{
    if (result == HOST_NOT_PERMITTED) {
        reply.WriteInt32(result);
        return IPC_UNKNOWN_REQUEST;
    }
    if (result != HOST_OK) {
        return WriteFailure(reply, result);
    }
    return reply.WriteInt32(result) && reply.WriteString(AnswerText(answer)) ? IPC_OK : IPC_BAD_DATAGRAM;
}

// Writes the result code and the answer of a query to the reply. query: fills in the answer and returns the result
// code.
template <typename Value, typename Query>
int32_t Answered(MessageParcel& reply, Query query)
{
    Value answer;
    const int32_t result = query(answer);
    return Write(reply, result, answer);
}

// Sends the reply when the answer is ready, so no IPC worker is blocked until then. wait: gets a callback, and calls
// this callback with the answer. If the request comes from inside this process, AnsweredLater blocks until the callback
// is called.
template <typename Value, typename Wait>
int32_t AnsweredLater(MessageParcel& reply, Wait wait)
{
    if (const std::shared_ptr<Ipc::LaterReply> later = Ipc::LaterReply::Take()) {
        wait([later](int32_t result, const Value& value) {
            MessageParcel answer;
            const int32_t status = Write(answer, result, value);
            later->Complete(status, answer);
        });
        return IPC_OK;
    }
    const auto status = std::make_shared<std::promise<int32_t>>();
    wait([&reply, status](int32_t result, const Value& value) { status->set_value(Write(reply, result, value)); });
    return status->get_future().get();
}

}  // namespace Vexo::Host
