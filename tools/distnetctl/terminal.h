// What the terminal of distnetctl can show, and text fitted to it: wrapped at its width, and in ASCII where the locale
// has no UTF-8. Functions without state; any thread. No call blocks.
#pragma once

#include <cstddef>
#include <string>

namespace Vexo::Ctl {

// The width at which lines are wrapped where no terminal says its own.
inline constexpr size_t COLUMNS = 80;

struct Terminal {
    bool isControlled = false;  // standard output obeys control sequences: a terminal, but not one of TERM=dumb
    bool hasColour = false;
    bool hasUtf8 = true;
    size_t errorColumns = COLUMNS;  // of standard error
};

// Asks standard output, standard error and the environment (TERM, NO_COLOR, COLUMNS, LC_ALL, LC_CTYPE, LANG).
Terminal FindTerminal();

// Whether the user's locale writes UTF-8 (LC_ALL, LC_CTYPE, LANG).
bool IsUtf8Locale();

// Text with its marks in ASCII: "+" for the tick, "x" for the cross, "-" for the dash, "..." for the ellipsis. The
// ellipsis of a short id or of a cut text takes the place of two neighbours, so that columns stay where they are. Names
// of devices and networks are not changed.
std::string AsciiMarks(const std::string& text);

// Text with line ends at spaces, so that no line is wider than width, but for a single word that is. A command in
// backquotes is not broken if it fits a line of its own. Lines that follow a break begin with indent spaces; line ends
// of the text itself stay.
std::string Wrapped(const std::string& text, size_t width = COLUMNS, size_t indent = 0);

}  // namespace Vexo::Ctl
