#include "tools/distnetctl/terminal.h"

#include <langinfo.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <clocale>
#include <cstdlib>
#include <iterator>
#include <sstream>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/base/number.h"
#include "platform/base/text.h"

namespace Vexo::Ctl {

namespace {

constexpr std::string_view ELLIPSIS = "…";
constexpr size_t MIN_COLUMNS = 20;  // smaller values for the width of the terminal are ignored

std::string_view Environment(const char* name)
{
    const char* value = std::getenv(name);
    return value == nullptr ? "" : value;
}

size_t ErrorColumns()
{
    if (const auto columns = ParseNumber<size_t>(Environment("COLUMNS")); columns && *columns >= MIN_COLUMNS) {
        return *columns;
    }
    winsize size{};
    return ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col >= MIN_COLUMNS ? size.ws_col : COLUMNS;
}

bool IsWordCharacter(char character)
{
    return std::isalnum(static_cast<unsigned char>(character)) != 0;
}

bool IsAscii(char character)
{
    return static_cast<unsigned char>(character) < 0x80;
}

// Returns true if the last characters of the text are ASCII letters or digits. count: how many characters are checked.
bool EndsWithWord(const std::string& text, size_t count)
{
    return text.size() >= count &&
           std::all_of(text.end() - static_cast<std::ptrdiff_t>(count), text.end(), IsWordCharacter);
}

void Replace(std::string& text, std::string_view mark, std::string_view ascii)
{
    for (size_t at = text.find(mark); at != std::string::npos; at = text.find(mark, at + ascii.size())) {
        text.replace(at, mark.size(), ascii);
    }
}

// Returns true if the text has an odd number of backquotes. The text then ends inside a command.
bool IsOpen(const std::string& text)
{
    return std::count(text.begin(), text.end(), '`') % 2 != 0;
}

// Splits a line into words. A command in backquotes is one word if it is not too wide. room: the largest allowed width.
std::vector<std::string> WordsOf(const std::string& line, size_t room)
{
    std::istringstream in(line);
    const std::vector<std::string> single{std::istream_iterator<std::string>(in), {}};
    std::vector<std::string> words;
    for (size_t at = 0; at < single.size();) {
        std::string whole = single[at];
        size_t next = at + 1;
        while (IsOpen(whole) && next < single.size()) {
            whole += " " + single[next++];
        }
        const bool fits = !IsOpen(whole) && TextWidth(whole) <= room;
        words.push_back(fits ? whole : single[at]);
        at = fits ? next : at + 1;
    }
    return words;
}

}  // namespace

Terminal FindTerminal()
{
    Terminal found;
    found.isControlled = isatty(STDOUT_FILENO) == 1 && Environment("TERM") != "dumb";
    found.hasColour = found.isControlled && Environment("NO_COLOR").empty();
    found.hasUtf8 = IsUtf8Locale();
    found.errorColumns = ErrorColumns();
    return found;
}

bool IsUtf8Locale()
{
    const locale_t locale = newlocale(LC_CTYPE_MASK, "", nullptr);
    if (locale == nullptr) {
        return false;
    }
    const bool isUtf8 = std::string_view(nl_langinfo_l(CODESET, locale)) == "UTF-8";
    freelocale(locale);
    return isUtf8;
}

std::string AsciiMarks(const std::string& text)
{
    std::string shown;
    size_t from = 0;
    for (size_t at = text.find(ELLIPSIS); at != std::string::npos; at = text.find(ELLIPSIS, from)) {
        shown += text.substr(from, at - from);
        from = at + ELLIPSIS.size();
        if (EndsWithWord(shown, 2) && from + 1 < text.size() && IsWordCharacter(text[from]) &&
            IsWordCharacter(text[from + 1])) {
            shown.pop_back();
            ++from;
        } else if (EndsWithWord(shown, 1) && shown.size() > 2 && IsAscii(shown[shown.size() - 2])) {
            shown.resize(shown.size() - 2);
        }
        shown += "...";
    }
    shown += text.substr(from);
    for (const auto& [mark, ascii] : {std::pair("✓", "+"), {"✗", "x"}, {"–", "-"}, {"█", "#"}}) {
        Replace(shown, mark, ascii);
    }
    return shown;
}

std::string Wrapped(const std::string& text, size_t width, size_t indent)
{
    const size_t room = width > indent ? width - indent : 1;
    std::string wrapped;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        wrapped += wrapped.empty() ? "" : "\n" + std::string(line.empty() ? 0 : indent, ' ');
        size_t column = wrapped.empty() ? 0 : indent;
        bool isFirst = true;
        for (const std::string& word : WordsOf(line, room)) {
            const size_t taken = TextWidth(word);
            if (!isFirst && column + 1 + taken > width) {
                wrapped += "\n" + std::string(indent, ' ');
                column = indent;
            } else if (!isFirst) {
                wrapped += " ";
                ++column;
            }
            wrapped += word;
            column += taken;
            isFirst = false;
        }
    }
    return wrapped;
}

std::string ShellWord(const std::string& text)
{
    const auto isPlain = [](unsigned char byte) {
        return byte >= 0x80 || std::isalnum(byte) != 0 ||
               std::string_view("_-.,:/@+%").find(static_cast<char>(byte)) != std::string_view::npos;
    };
    if (!text.empty() && std::all_of(text.begin(), text.end(), isPlain)) {
        return text;
    }
    std::string word = "'";
    for (const char character : text) {
        word += character == '\'' ? "'\\''" : std::string(1, character);
    }
    return word + "'";
}

}  // namespace Vexo::Ctl
