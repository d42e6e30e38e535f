// Finds out what the user's terminal can show, and fits text to it: wraps lines, and replaces marks by ASCII if the
// locale has no UTF-8. Stateless functions; any thread. No call blocks.
#pragma once

#include <cstddef>
#include <string>

namespace Vexo::Ctl {

// The width at which lines are wrapped if the terminal's width is not known.
inline constexpr size_t COLUMNS = 80;

struct Terminal {
    bool isControlled = false;  // standard output is a terminal with control sequences: not TERM=dumb
    bool hasColour = false;
    bool hasUtf8 = true;
    size_t errorColumns = COLUMNS;  // width of standard error
};

// Reads the properties of standard output and standard error, and the environment (TERM, NO_COLOR, COLUMNS, LC_ALL,
// LC_CTYPE, LANG).
Terminal FindTerminal();

// Returns whether the user's locale uses UTF-8 (LC_ALL, LC_CTYPE, LANG).
bool IsUtf8Locale();

// Returns text with ASCII marks: "+" for the tick, "x" for the cross, "-" for the dash, "..." for the ellipsis. In a
// short id or a cut text, "..." also replaces two neighbouring characters, so that columns keep their width. Names of
// devices and networks are not changed.
std::string AsciiMarks(const std::string& text);

// Breaks text at spaces so that no line is wider than width, except for a single longer word. A command in backquotes
// is not broken if it fits on one line. All lines but the first begin with indent spaces. Line ends in text are kept.
std::string Wrapped(const std::string& text, size_t width = COLUMNS, size_t indent = 0);

}  // namespace Vexo::Ctl
