// Prints the output of distnetctl: lines of text for a person or, with --json, JSON objects. Also defines the exit
// codes. A command creates one Outcome and passes it to Output::Finish. Only the live picture (screen.h) and the help
// (CLI11) are written to standard output without using Output. Used on the main thread, and on the thread that ends the
// process after an interrupt.
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
    EXIT_FAILED = 1,  // the service reported a failure, or distnetctl could not carry out the command
    EXIT_USAGE = 2,
    EXIT_UNREACHABLE = 3,  // no connection to the daemon was possible
    EXIT_NOT_PERMITTED = 4,
    EXIT_TIMED_OUT = 5,
    EXIT_INTERRUPTED = 130,  // the value that shells use for Ctrl-C
};

// Values of "code" in the JSON object, for failures to which the service gives no code.
enum LocalCode : int32_t {
    CODE_UNREACHABLE = -1,
    CODE_TIMED_OUT = -2,
    CODE_BAD_ANSWER = -3,
    CODE_USAGE = -4,
    CODE_NOT_DONE = -5,     // distnetctl refused the command or could not carry it out
    CODE_INTERRUPTED = -6,  // Ctrl-C or SIGTERM ended the command
};

struct Outcome {
    int exitCode = EXIT_DONE;
    int32_t code = 0;
    std::string name = "OK";
    std::string message;  // a single sentence
    std::string advice;   // what the user should do next, one step per line; may be empty
    Json details;         // members that are added to the JSON object; may be null
};

// Returns true if this machine has a systemd unit for the daemon.
bool HasUnit();

Outcome Done(std::string message, Json details = nullptr);
Outcome UsageError(std::string message, std::string advice);
Outcome NotDone(std::string message, std::string advice);
// Converts a failed call to the daemon to an outcome. The advice of this outcome fits the cause of the failure.
Outcome FromCall(const Client::CallResult& result);

class Output {
public:
    // command: the name of the JSON schema of the command, such as "account-show". Empty if no command was recognised.
    Output(bool json, const Terminal& terminal, std::string command);

    bool IsJson() const { return json_; }
    bool IsTerminal() const { return terminal_.isControlled; }
    bool UsesColour() const { return terminal_.hasColour; }
    const Terminal& GetTerminal() const { return terminal_; }

    // Prints a line of text. Has no effect with --json.
    void Line(const std::string& text);
    // Prints one JSON object on its own line, for commands that print several objects. Has no effect without --json, or
    // after Finish has printed an object. schema: the name of the object's schema in docs/schema.
    void Object(const std::string& schema, const cJSON* object);
    // Writes the buffered output. Returns false if this write or an earlier write has failed.
    bool Flush();
    // Prints a line that says what the command waits for. On a terminal, the next output overwrites this line.
    void Status(const std::string& text);
    // Prints a question without a line end. Has no effect with --json.
    void Prompt(const std::string& text);
    // Prints a message to standard error and wraps its lines. Also prints it with --json. The command then continues.
    void Notice(const std::string& text);
    // Tick returns the mark for a successful step, Cross the mark for a failed step. On a terminal with colours the
    // marks are coloured. The text beside a mark must make sense without the mark. If the locale has no UTF-8, the
    // marks are printed in ASCII (AsciiMarks).
    std::string Tick() const;
    std::string Cross() const;

    // Prints the outcome and returns its exit code. With --json the outcome is printed as a JSON object. Otherwise
    // Finish prints the message; after a failure, it prints the message and the advice to standard error. During an
    // interrupt two threads may call Finish. In this case only the first JSON object is printed.
    int Finish(Outcome outcome);
    // Prints the JSON object of a command that an interrupt has ended. Has no effect without --json.
    void FinishInterrupted();
    // Call this before the process ends. exitCode: the exit code of the command. Returns exitCode if all output was
    // written. Otherwise prints an error and returns EXIT_FAILED. It is no error if a reader closes the pipe early
    // (EPIPE).
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
    std::atomic<int> writeError_{0};  // errno of the first write that has failed
};

// Returns the advice with "sudo" before each command that needs root. Returns the advice unchanged if the user is root.
std::string WithRights(const std::string& advice);
// Returns the advice with "sudo" before each command that needs root, even if the user is root.
std::string WithSudo(std::string advice);

// Returns the value of "schema" for a JSON object, such as "distnetctl/devices/1". file: the name of the schema file in
// docs/schema. The number is the version of the schema.
std::string SchemaName(const std::string& file);

// Formats a duration for a person: "41 ms", "3.1 s".
std::string DurationText(double milliseconds);
// Pads text with spaces to the given width, or cuts it and adds "…". Each code point counts as one column.
std::string Column(const std::string& text, size_t width);

}  // namespace Vexo::Ctl
