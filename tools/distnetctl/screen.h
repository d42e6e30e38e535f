// Screen: sets up the terminal for a live picture, and restores it afterwards. While set up, the terminal shows its
// alternate screen without cursor and line wrapping. Keys are read one by one without echo (termios(3)). The control
// sequences are those of xterm (ECMA-48). One object at a time; main thread only. wakeup.h reads keys and signals.
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

    std::string text;  // must be printable (printable.h); Draw cuts it to the width of the screen
    Style style = Style::PLAIN;
};

class Screen : public NoCopyable {
public:
    // Calls Enter. This sets up the terminal of standard output. If standard input is a terminal, Enter sets it up too.
    explicit Screen(const Terminal& terminal);
    ~Screen();

    // Leave restores the terminal; call it before the process is suspended. Enter sets up the terminal again; call it
    // afterwards. Calling one of them twice has no further effect.
    void Leave();
    void Enter();

    // Returns the current size of the terminal. The result is 80 by 24 if the size is not known.
    static ScreenSize Size();
    // Draws the complete picture with one write. Leaves out what does not fit into the given size. Returns false if the
    // terminal was closed.
    bool Draw(const std::vector<ScreenLine>& lines, const ScreenSize& size);

private:
    const Terminal terminal_;
    std::optional<termios> before_;  // the settings of standard input before Enter changed them
    bool held_ = false;              // true after Enter, false after Leave
};

}  // namespace Vexo::Ctl
