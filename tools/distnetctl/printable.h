// Text of others on this terminal. What peers, the air and the daemon say may hold anything; nothing of it may move the
// cursor or reorder what is read. Pure function; any thread.
#pragma once

#include <string>

namespace Vexo::Ctl {

// The text with each control character (C0, DEL, C1), line or paragraph separator, change of writing direction and
// byte that is no UTF-8 replaced by U+FFFD.
std::string Printable(const std::string& text);

}  // namespace Vexo::Ctl
