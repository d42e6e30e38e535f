// Screen: sets up the terminal for a live picture and restores it afterwards. Meanwhile the picture is on the alternate
// screen without cursor and line wrapping, and keys arrive one by one without echo (termios(3); the control sequences
// are those of xterm, ECMA-48). One object at a time; main thread only. Keys and signals: wakeup.h.
#pragma once

#include <termios.h>

#include <optional>
#include <string>
#include <vector>

#include "platform/base/nocopyable.h"
#include "tools/distnetctl/terminal.h"

namespace Vexo::Ctl {

struct ScreenSize {
    size_t columns = 80;
    size_t rows = 24;
};

struct ScreenLine {
    enum class Style { PLAIN, HEADING, WRONG };

    std::string text;  // must be printable (EscapeHidden); Draw cuts it to the width
    Style style = Style::PLAIN;
};

class Screen : public NoCopyable {
public:
    // Calls Enter: sets up the terminal of standard output, and of standard input if that is a terminal.
    explicit Screen(const Terminal& terminal);
    ~Screen();

    // Leave restores the terminal before the process is suspended, and Enter sets it up again afterwards. Repeated
    // calls do nothing.
    void Leave();
    void Enter();

    // The current size of the terminal; 80 by 24 if it is not known.
    static ScreenSize Size();
    // Draws the whole picture with one write; lines beyond size are left out. Returns false if the terminal is gone.
    bool Draw(const std::vector<ScreenLine>& lines, const ScreenSize& size);

private:
    const Terminal terminal_;
    std::optional<termios> before_;  // settings of standard input before Enter
    bool held_ = false;              // Enter was called, and not Leave since
};

}  // namespace Vexo::Ctl
