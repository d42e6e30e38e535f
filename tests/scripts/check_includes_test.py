"""Tests of the include check: it reports the line of each kind of forbidden include, and accepts the allowed ones."""

import pathlib
import re
import subprocess
import sys
import tempfile
import unittest

CHECK = sys.argv.pop(1)

HEADERS = ["platform/base/a.h", "platform/ipc/a.h", "platform/ability/a.h", "platform/trust/a.h", "host/host.h",
           "interfaces/a.h", "client/a.h", "backends/simulated/device_state.h", "backends/simulated/air.h",
           "backends/linux/a.h", "distributed/services/service/a.h",
           "distributed/services/service/i_distnet_service.h", "distributed/services/utils/a.h",
           "distributed/services/link/a.h", "distributed/services/converged/awareness/a.h",
           "distributed/services/converged/decision/src/a.h", "tests/support/a.h"]

# File → (allowed includes, forbidden includes).
CASES = {
    "platform/ability/x.cpp": (['"platform/ipc/a.h"', "<sys/socket.h>"],
                               ['"platform/trust/a.h"', '"a.h"', '"platform/ability/none.h"', '"tests/support/a.h"']),
    "distributed/services/service/x.cpp": (['"platform/trust/a.h"', '"distributed/services/converged/decision/src/a.h"',
                                            "<vector>", "<cjson/cJSON.h>"],
                                           ['"host/host.h"', '"client/a.h"', "<unistd.h>", "<platform/base/a.h>"]),
    "distributed/services/link/x.cpp": (['"distributed/services/utils/a.h"', '"distributed/services/link/a.h"'],
                                        ['"distributed/services/service/a.h"',
                                         '"distributed/services/converged/awareness/a.h"']),
    "distributed/services/converged/awareness/x.cpp": (['"distributed/services/link/a.h"'],
                                                       ['"distributed/services/converged/decision/src/a.h"']),
    "distributed/services/new/x.cpp": ([], ["<vector>"]),
    "backends/simulated/x.cpp": (['"platform/trust/a.h"', '"backends/simulated/air.h"'],
                                 ['"backends/linux/a.h"', '"host/host.h"']),
    "interfaces/x.h": (['"platform/ipc/a.h"', '"interfaces/a.h"'], ['"platform/trust/a.h"', '"host/host.h"', '"client/a.h"']),
    "host/x.cpp": (['"backends/linux/a.h"', '"platform/trust/a.h"', '"interfaces/a.h"'], ['"distributed/services/service/a.h"']),
    "client/x.cpp": (['"interfaces/a.h"', '"distributed/services/service/i_distnet_service.h"'],
                     ['"host/host.h"', '"distributed/services/service/a.h"', '"platform/trust/a.h"']),
    "tools/distnetctl/x.cpp": (['"client/a.h"', '"interfaces/a.h"', '"backends/simulated/device_state.h"'],
                               ['"platform/ipc/a.h"', '"host/host.h"', '"backends/simulated/air.h"']),
    "tests/host/x.cpp": (['"host/host.h"', '"distributed/services/service/a.h"'], []),
    "platform/unknown/x.cpp": ([], ["<vector>"]),
}


class CheckIncludes(unittest.TestCase):
    def test_reports_only_forbidden_includes_with_file_and_line(self):
        with tempfile.TemporaryDirectory() as folder:
            for is_broken in False, True:
                files = dict.fromkeys(HEADERS, [])
                files |= {path: allowed + refused * is_broken for path, (allowed, refused) in CASES.items()
                          if allowed or is_broken}
                for path, includes in files.items():
                    file = pathlib.Path(folder, path)
                    file.parent.mkdir(parents=True, exist_ok=True)
                    file.write_text("".join(f"#include {target}\n" for target in includes), encoding="utf-8")
                result = subprocess.run([CHECK, folder], capture_output=True, text=True, check=False)
                found = set(re.findall(r"(?m)^(\S+:\d+): .*; (?:allowed|add it)", result.stdout))
                expected = {f"{path}:{number}" for path, (allowed, refused) in CASES.items()
                            for number, _ in enumerate(refused * is_broken, len(allowed) + 1)}
                self.assertEqual((result.returncode, found), (int(is_broken), expected), result.stdout + result.stderr)


unittest.main()
