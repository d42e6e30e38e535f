// The system journal as a place for log lines and system events, with fields that journalctl can select by. Used by the
// host at start; sinks as in sinks.h. libsystemd is loaded when the first sink is made, so that a machine without
// systemd needs none of it. systemd.journal-fields(7), sd_journal_sendv(3)
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "platform/base/result.h"
#include "platform/dfx/sinks.h"

namespace Vexo::QuviewDFX {

// Whether standard error leads to the journal: JOURNAL_STREAM names the very stream (systemd.exec(5)). A program that
// merely inherited the variable, from a terminal that a unit started, is not meant.
bool IsStderrTheJournal();

// Both fail when libsystemd cannot be loaded; the error says why. A line that the journal does not take goes to
// standard error; an event that it does not take is answered with a negative code.
[[nodiscard]] Result<std::shared_ptr<LogSink>> MakeJournalLogSink();
[[nodiscard]] Result<std::shared_ptr<SysEventSink>> MakeJournalSysEventSink();

// "FIELD=value" each. Of a log line: MESSAGE, PRIORITY, SYSLOG_IDENTIFIER, DISTNET_TAG, DISTNET_LOG_DOMAIN; of an
// event: MESSAGE, PRIORITY, SYSLOG_IDENTIFIER, DISTNET_EVENT, DISTNET_DOMAIN, DISTNET_TYPE, and DISTNET_PARAM_KEY for
// each parameter.
std::vector<std::string> JournalFields(const LogRecord& record);
std::vector<std::string> JournalFields(const SysEventRecord& record);

}  // namespace Vexo::QuviewDFX
