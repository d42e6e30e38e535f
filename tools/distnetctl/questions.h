// Questions to a person: at the terminal, or by lines of standard input. Passphrases are read without echo. Main thread
// only; calls block until there is a line, unless they say otherwise.
#pragma once

#include <chrono>
#include <optional>
#include <string>

#include "platform/base/nocopyable.h"
#include "platform/base/result.h"
#include "tools/distnetctl/output.h"

namespace Vexo::Ctl {

// The lines of a descriptor, as they come.
class LineReader : public NoCopyable {
public:
    explicit LineReader(int descriptor) : descriptor_(descriptor) {}

    enum class Read { LINE, NOTHING_YET, END };
    // Waits for a line at most for limit; without a limit until there is one. line is without its end.
    Read Next(std::string& line, std::optional<std::chrono::milliseconds> limit = std::nullopt);

private:
    const int descriptor_;
    std::string rest_;  // read, but not returned
};

// Whether the answer means yes: "y" or "yes".
bool MeansYes(const std::string& answer);

// Ends the line of a prompt (Output::Prompt), unless the person has ended it.
void EndPrompt(Output& output, LineReader::Read read);

// Asks a question that the answer "y" permits, on a terminal or by a line of standard input. False also at its end.
bool Confirm(Output& output, const std::string& question);

// Asks twice at the terminal without echo. INVALID_ARGUMENT when the two differ or are too short, UNAVAILABLE without a
// terminal. Ctrl-C restores the terminal before the process ends (EndOnInterrupt).
[[nodiscard]] Result<std::string> AskPassphrase(bool twice);
// The first line of the descriptor.
[[nodiscard]] Result<std::string> ReadPassphrase(int descriptor);
// Ends what AskPassphrase changed at the terminal. Any thread.
void RestoreEcho();

}  // namespace Vexo::Ctl
