// Asks the user questions and reads the answers from the terminal or from standard input. Passphrases are read without
// echo. Main thread only, except RestoreEcho. Calls block until a line arrives, unless a comment says otherwise.
#pragma once

#include <chrono>
#include <optional>
#include <string>

#include "platform/base/nocopyable.h"
#include "platform/base/result.h"
#include "tools/distnetctl/output.h"

namespace Vexo::Ctl {

// Reads text lines from a file descriptor.
class LineReader : public NoCopyable {
public:
    explicit LineReader(int descriptor) : descriptor_(descriptor) {}

    enum class Read { LINE, NOTHING_YET, END };
    // Reads the next line and stores it without its line end. limit: how long to wait for a line. Without limit, waits
    // until a line or the end of the input arrives.
    Read Next(std::string& line, std::optional<std::chrono::milliseconds> limit = std::nullopt);

private:
    const int descriptor_;
    std::string rest_;  // bytes that were read but are not part of a returned line
};

// Returns true if the user's answer is "y", "Y", "yes" or "Yes".
bool MeansYes(const std::string& answer);

// Prints a line end after a question (Output::Prompt), unless the user has pressed Enter. read: how reading the answer
// ended.
void EndPrompt(Output& output, LineReader::Read read);

// Prints the question and reads the answer from standard input. Returns true only if the answer means yes. Returns
// false for any other answer and at the end of the input.
bool Confirm(Output& output, const std::string& question);

// Asks for a passphrase at the terminal without echo. twice: whether to check the length and to ask a second time.
// Fails with INVALID_ARGUMENT if the passphrase is missing, is too short, or differs the second time. Fails with
// UNAVAILABLE if there is no terminal. Call EndOnInterrupt(RestoreEcho) before this function, so that Ctrl-C restores
// the terminal.
[[nodiscard]] Result<std::string> AskPassphrase(bool twice);
// Reads a passphrase: the first line from the descriptor. Fails with INVALID_ARGUMENT if the descriptor is not open, or
// if the line is empty.
[[nodiscard]] Result<std::string> ReadPassphrase(int descriptor);
// Switches the echo of the terminal on again if AskPassphrase has switched it off. Any thread.
void RestoreEcho();

}  // namespace Vexo::Ctl
