// The output of distnetctl: readable lines for a person, or one JSON object, and the exit code. A command builds one
// Outcome and passes it to Output::Finish. Only the live picture (screen.h) writes to standard output without Output.
// Used on the main thread, and on the thread that ends the process after an interrupt.
#pragma once

#include <atomic>
#include <cstdint>
#include <string>

#include "client/distnet_client.h"
#include "platform/base/json.h"
#include "platform/base/mutex.h"
#include "tools/distnetctl/terminal.h"

namespace Vexo::Ctl {

enum ExitCode : int {
    EXIT_DONE = 0,
    EXIT_FAILED = 1,  // the service answered with a failure, or this side could not carry out the command
    EXIT_USAGE = 2,
    EXIT_UNREACHABLE = 3,  // the daemon cannot be reached
    EXIT_NOT_PERMITTED = 4,
    EXIT_TIMED_OUT = 5,
    EXIT_INTERRUPTED = 130,  // Ctrl-C, as shells number it
};

// Values of "code" in the JSON object for failures that have no code of the service.
enum LocalCode : int32_t {
    CODE_UNREACHABLE = -1,
    CODE_TIMED_OUT = -2,
    CODE_BAD_ANSWER = -3,
    CODE_USAGE = -4,
    CODE_NOT_DONE = -5,     // this side refused the command or could not carry it out
    CODE_INTERRUPTED = -6,  // Ctrl-C or SIGTERM
};

struct Outcome {
    int exitCode = EXIT_DONE;
    int32_t code = 0;
    std::string name = "OK";
    std::string message;  // one sentence
    std::string advice;   // what to do next, one step per line; may be empty
    Json details;         // further members of the JSON object; may be null
};

// Returns whether systemd has a unit of the daemon on this machine.
bool HasUnit();

Outcome Done(std::string message, Json details = nullptr);
Outcome UsageError(std::string message, std::string advice);
Outcome NotDone(std::string message, std::string advice);
// The outcome for a call that did not succeed, with advice that fits the reason.
Outcome FromCall(const Client::CallResult& result);

class Output {
public:
    // command: the name of the command's schema ("account-show"); empty if no command was recognised.
    Output(bool json, const Terminal& terminal, std::string command);

    bool IsJson() const { return json_; }
    bool IsTerminal() const { return terminal_.isControlled; }
    bool UsesColour() const { return terminal_.hasColour; }
    const Terminal& GetTerminal() const { return terminal_; }

    // Prints a line; does nothing with --json.
    void Line(const std::string& text);
    // Prints one JSON object on its own line; does nothing without --json. For commands that print several objects.
    // After Finish has printed its object, further objects are dropped. schema: the name of the object's schema in
    // docs/schema.
    void Object(const std::string& schema, const cJSON* object);
    // Writes the buffered output. Returns false if this or an earlier write failed.
    bool Flush();
    // Shows what the command waits for. On a terminal the next output overwrites this line.
    void Status(const std::string& text);
    // Prints a question without a line end; does nothing with --json.
    void Prompt(const std::string& text);
    // Prints a message to standard error, wrapped, also with --json. The command continues.
    void Notice(const std::string& text);
    // Marks for good and failed steps: a tick and a cross, in colour if colour is used. The words beside a mark must
    // make sense without the mark. If the locale has no UTF-8, marks are printed in ASCII (AsciiMarks).
    std::string Tick() const;
    std::string Cross() const;

    // Prints the outcome as a JSON object, or its message and advice (for a failure to standard error). Returns the
    // exit code. When an interrupt ends the process, two threads may call Finish: only the first JSON object is
    // printed.
    int Finish(Outcome outcome);
    // Finishes a command that an interrupt has ended: prints its JSON object with --json, else nothing.
    void FinishInterrupted();
    // Call before the process ends, with its exit code. Returns this code; if some output could not be written, prints
    // the error and returns EXIT_FAILED. A reader that closes the pipe early (EPIPE) is not an error.
    int End(int exitCode);

private:
    void ClearStatus();
    void PrintObject(const std::string& schema, const cJSON* object) REQUIRES(objects_);
    std::string Shown(const std::string& text) const;
    void PrintError(const std::string& text, size_t indent) const;
    int FinishJson(Outcome outcome);

    const bool json_;
    const Terminal terminal_;
    const std::string command_;
    Mutex objects_;
    bool isFinished_ GUARDED_BY(objects_) = false;
    // statusShown_ and writeError_ are atomic, because the thread that ends the process after an interrupt also prints.
    std::atomic<bool> statusShown_{false};
    std::atomic<int> writeError_{0};  // errno of the first write that failed
};

// Returns advice with "sudo" added before each command that needs root. If the user is root, returns it unchanged.
std::string WithRights(const std::string& advice);
// Like WithRights, but adds "sudo" for every user.
std::string WithSudo(std::string advice);

// The value of "schema" in an object: the file in docs/schema and its version, "distnetctl/devices/1".
std::string SchemaName(const std::string& file);

// A duration for a person: "41 ms", "3.1 s".
std::string DurationText(double milliseconds);
// Pads text with spaces to width columns, or cuts it to width with "…" at the end. One column for each code point.
std::string Column(const std::string& text, size_t width);

}  // namespace Vexo::Ctl
