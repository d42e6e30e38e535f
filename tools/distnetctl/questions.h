// Asks the user questions, at the terminal or through lines of standard input. Passphrases are read without echo. Main
// thread only, except RestoreEcho. Calls block until a line arrives, unless they say otherwise.
#pragma once

#include <chrono>
#include <optional>
#include <string>

#include "platform/base/nocopyable.h"
#include "platform/base/result.h"
#include "tools/distnetctl/output.h"

namespace Vexo::Ctl {

// Reads lines from a descriptor.
class LineReader : public NoCopyable {
public:
    explicit LineReader(int descriptor) : descriptor_(descriptor) {}

    enum class Read { LINE, NOTHING_YET, END };
    // Reads the next line, without its line end. Waits for at most limit; without a limit, until a line or the end of
    // input arrives.
    Read Next(std::string& line, std::optional<std::chrono::milliseconds> limit = std::nullopt);

private:
    const int descriptor_;
    std::string rest_;  // bytes that were read but not returned yet
};

// Returns whether the answer means yes: "y", "Y", "yes" or "Yes".
bool MeansYes(const std::string& answer);

// Ends the line of a prompt (Output::Prompt) unless the user has pressed Enter.
void EndPrompt(Output& output, LineReader::Read read);

// Prints the question and reads the answer from standard input. Returns true only for yes (MeansYes); false also at the
// end of input.
bool Confirm(Output& output, const std::string& question);

// Asks for a passphrase at the terminal, without echo. With twice, asks a second time. Fails with INVALID_ARGUMENT if
// no passphrase is given, or, with twice, if it is too short or the two differ; with UNAVAILABLE if there is no
// terminal. Call EndOnInterrupt(RestoreEcho) before, so that Ctrl-C restores the terminal.
[[nodiscard]] Result<std::string> AskPassphrase(bool twice);
// Reads the first line of the descriptor. Fails with INVALID_ARGUMENT if the descriptor is not open or the line is
// empty.
[[nodiscard]] Result<std::string> ReadPassphrase(int descriptor);
// Switches the echo of the terminal on again, if AskPassphrase has switched it off. Any thread.
void RestoreEcho();

}  // namespace Vexo::Ctl
