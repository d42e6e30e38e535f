// Screen: a terminal taken over for a live picture, and given back as it was. While it is held, the picture is on the
// alternate screen without cursor and line wrapping, and keys arrive one by one without echo (termios(3); the control
// sequences are those of xterm, ECMA-48). One at a time; main thread only. Who waits for keys and signals: wakeup.h.
#pragma once

#include <termios.h>

#include <optional>
#include <string>
#include <vector>

#include "platform/base/nocopyable.h"

namespace Vexo::Ctl {

struct ScreenSize {
    size_t columns = 80;
    size_t rows = 24;
};

struct ScreenLine {
    enum class Style { PLAIN, HEADING, WRONG };

    std::string text;  // as EscapeHidden leaves it; cut to the width
    Style style = Style::PLAIN;
};

class Screen : public NoCopyable {
public:
    // Takes the terminal of standard output, and of standard input if that is one.
    explicit Screen(bool colour);
    ~Screen();

    // Gives the terminal back, and takes it again: around a stop of the process. Idempotent.
    void Leave();
    void Enter();

    // As the terminal is now; 80 by 24 when it does not say.
    static ScreenSize Size();
    // Rewrites the whole picture in one write; lines beyond the size are not shown. False when the terminal is gone.
    bool Draw(const std::vector<ScreenLine>& lines, const ScreenSize& size);

private:
    const bool colour_;
    std::optional<termios> before_;  // of standard input, while held
    bool held_ = false;
};

}  // namespace Vexo::Ctl
