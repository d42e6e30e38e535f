// What distnetctl says: readable lines for a person, or one JSON object, and the exit code that goes with it. A command
// builds one Outcome and hands it to Output::Finish; beside this only a live picture (screen.h) writes to standard
// output. Used from the main thread.
#pragma once

#include <cstdint>
#include <string>

#include "client/distnet_client.h"
#include "platform/base/json.h"

namespace Vexo::Ctl {

enum ExitCode : int {
    EXIT_DONE = 0,
    EXIT_FAILED = 1,  // the service answered with a failure, or what was asked could not be done
    EXIT_USAGE = 2,
    EXIT_UNREACHABLE = 3,  // the daemon cannot be reached
    EXIT_NOT_PERMITTED = 4,
    EXIT_TIMED_OUT = 5,
    EXIT_INTERRUPTED = 130,  // Ctrl-C, as shells number it
};

// Codes of the JSON object for failures that no code of the service names.
enum LocalCode : int32_t {
    CODE_UNREACHABLE = -1,
    CODE_TIMED_OUT = -2,
    CODE_BAD_ANSWER = -3,
    CODE_USAGE = -4,
    CODE_NOT_DONE = -5,  // refused or failed on this side, before or after the service answered
};

// How wide lines are at most, where their words allow that. A live picture asks for the terminal's width instead.
inline constexpr size_t COLUMNS = 80;

struct Outcome {
    int exitCode = EXIT_DONE;
    int32_t code = 0;
    std::string name = "OK";
    std::string message;  // one sentence
    std::string advice;   // what to do next; may be empty
    Json details;         // further members of the JSON object; may be null
};

Outcome Done(std::string message, Json details = nullptr);
Outcome UsageError(std::string message, std::string advice);
Outcome NotDone(std::string message, std::string advice);
// From a call that did not succeed, with advice that fits why.
Outcome FromCall(const Client::CallResult& result);

class Output {
public:
    Output(bool json, bool terminal, bool colour);

    bool IsJson() const { return json_; }
    bool IsTerminal() const { return terminal_; }
    bool UsesColour() const { return colour_; }

    // A line of the readable form; nothing with --json.
    void Line(const std::string& text);
    // A line of machine output: one object of many; nothing without --json. The command then ends without an outcome.
    void Object(const cJSON* object);
    // Hands on what was written. False when it could not be, now or before.
    bool Flush();
    // On a terminal, a line that the next Status, Line or Finish overwrites: what is being waited for.
    void Status(const std::string& text);
    // A line to standard error, with --json too: what a person should know while the command goes on.
    void Notice(const std::string& text);
    // Marks for lines: a tick or a cross, coloured on a terminal; the words beside them carry the meaning.
    std::string Tick() const;
    std::string Cross() const;

    // Writes the outcome: the JSON object, or the message (a failure to standard error). Returns the exit code.
    int Finish(Outcome outcome);
    // Before the process ends: the exit code that it shall end with, EXIT_FAILED instead, with a line on standard
    // error, when something could not be written. A reader that left early (EPIPE) has seen what it wanted.
    int End(int exitCode);

private:
    void ClearStatus();
    int FinishJson(Outcome outcome);

    const bool json_;
    const bool terminal_;
    const bool colour_;
    bool statusShown_ = false;
    int writeError_ = 0;  // errno of the first write that failed
};

// "41 ms", "3.1 s".
std::string DurationText(double milliseconds);
// text cut to width columns, the cut marked; or padded with spaces. Counts UTF-8 code points.
std::string Column(const std::string& text, size_t width);

}  // namespace Vexo::Ctl
