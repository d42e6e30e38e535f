// Sinks that write log lines and system events to the systemd journal, as fields that journalctl can filter. distnetd
// makes the sinks at start. On which threads they are called: sinks.h. libsystemd is loaded when the first sink is
// made, so the daemon also runs on machines without systemd. See systemd.journal-fields(7) and sd_journal_sendv(3).
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "platform/base/result.h"
#include "platform/dfx/sinks.h"

namespace Vexo::QuviewDFX {

// Returns true if standard error is connected to the journal, which is the case if JOURNAL_STREAM contains the device
// and inode of standard error (systemd.exec(5)). The value must be compared: if a systemd unit started a terminal,
// programs in this terminal inherit the variable, but write to the terminal.
bool IsStderrTheJournal();

// MakeJournalLogSink and MakeJournalSysEventSink fail if libsystemd cannot be loaded; the error says why. If the
// journal rejects a log line, the log sink writes the line to standard error. If the journal rejects an event,
// SysEventSink::Write returns a negative code.
[[nodiscard]] Result<std::shared_ptr<LogSink>> MakeJournalLogSink();
[[nodiscard]] Result<std::shared_ptr<SysEventSink>> MakeJournalSysEventSink();

// Returns the journal fields of a record, each of the form "FIELD=value". A log line has MESSAGE, PRIORITY,
// SYSLOG_IDENTIFIER, DISTNET_TAG and DISTNET_LOG_DOMAIN. An event has MESSAGE, PRIORITY, SYSLOG_IDENTIFIER,
// DISTNET_EVENT, DISTNET_DOMAIN and DISTNET_TYPE. For a parameter with the key KEY, an event also has the field
// DISTNET_PARAM_KEY.
std::vector<std::string> JournalFields(const LogRecord& record);
std::vector<std::string> JournalFields(const SysEventRecord& record);

}  // namespace Vexo::QuviewDFX
