// Finds out what the user's terminal can show, and adapts text to it. Wrapped breaks lines. AsciiMarks replaces special
// characters if the locale has no UTF-8. Stateless functions; any thread. No call blocks.
#pragma once

#include <cstddef>
#include <string>

namespace Vexo::Ctl {

// The width of wrapped lines on standard output, and on standard error if the width of the terminal is not known.
inline constexpr size_t COLUMNS = 80;

struct Terminal {
    bool isControlled = false;  // standard output is a terminal that supports control sequences (TERM is not "dumb")
    bool hasColour = false;
    bool hasUtf8 = true;
    size_t errorColumns = COLUMNS;  // the width of standard error in characters
};

// Reads the properties of standard output and standard error, and the environment variables TERM, NO_COLOR, COLUMNS,
// LC_ALL, LC_CTYPE and LANG.
Terminal FindTerminal();

// Returns true if the user's locale uses UTF-8. Reads LC_ALL, LC_CTYPE and LANG.
bool IsUtf8Locale();

// Replaces special characters in text by ASCII: the tick by "+", the cross by "x", the dash by "-", the block of a bar
// by "#", the ellipsis by "...". In a short id or a cut text, the "..." also replaces two characters beside the
// ellipsis, so that columns keep their width. Other characters, such as "ü" in a name, are not changed.
std::string AsciiMarks(const std::string& text);

// Breaks text at spaces, so that each line has at most the given width. A single word can be wider. A command in
// backquotes stays on one line if it fits. indent: how many spaces begin each line except the first. Line ends in the
// text are kept.
std::string Wrapped(const std::string& text, size_t width = COLUMNS, size_t indent = 0);

// Returns text as one word of a shell command that the user may copy, in single quotes if the shell would change it
// (POSIX.1-2017, XCU 2.2). Another device chooses its own name, which may contain a command.
std::string ShellWord(const std::string& text);

}  // namespace Vexo::Ctl
