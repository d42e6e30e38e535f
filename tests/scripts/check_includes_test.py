"""The include rule finds each kind of breach, names its line, and lets the allowed neighbours pass."""

import pathlib
import subprocess
import sys
import tempfile
import unittest

CHECK = sys.argv.pop(1)

HEADERS = ["platform/base/a.h", "platform/ipc/a.h", "platform/ability/a.h", "platform/trust/a.h", "host/host.h",
           "host/i_host_ability.h", "client/a.h", "backends/simulated/device_state.h", "backends/simulated/air.h",
           "backends/linux/a.h", "distributed/services/service/a.h",
           "distributed/services/service/i_distnet_service.h", "tests/support/a.h"]

# File → includes that pass, includes that are refused.
CASES = {
    "platform/ability/x.cpp": (['"platform/ipc/a.h"', "<sys/socket.h>"],
                               ['"platform/trust/a.h"', '"a.h"', '"platform/ability/none.h"', '"tests/support/a.h"']),
    "distributed/services/service/x.cpp": (['"platform/trust/a.h"', "<vector>", "<cjson/cJSON.h>"],
                                           ['"host/host.h"', '"client/a.h"', "<unistd.h>", "<platform/base/a.h>"]),
    "backends/simulated/x.cpp": (['"platform/trust/a.h"', '"backends/simulated/air.h"'],
                                 ['"backends/linux/a.h"', '"host/host.h"']),
    "host/x.cpp": (['"backends/linux/a.h"', '"platform/trust/a.h"'], ['"distributed/services/service/a.h"']),
    "client/x.cpp": (['"host/i_host_ability.h"', '"distributed/services/service/i_distnet_service.h"'],
                     ['"host/host.h"', '"distributed/services/service/a.h"', '"platform/trust/a.h"']),
    "tools/distnetctl/x.cpp": (['"client/a.h"', '"platform/trust/a.h"', '"backends/simulated/device_state.h"'],
                               ['"platform/ipc/a.h"', '"backends/simulated/air.h"']),
    "tests/host/x.cpp": (['"host/host.h"', '"distributed/services/service/a.h"'], []),
}


class CheckIncludes(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.TemporaryDirectory()
        self.addCleanup(self.folder.cleanup)
        for header in HEADERS:
            self.write(header, "#pragma once\n")

    def write(self, path, text):
        file = pathlib.Path(self.folder.name, path)
        file.parent.mkdir(parents=True, exist_ok=True)
        file.write_text(text, encoding="utf-8")

    def run_check(self):
        return subprocess.run([CHECK, self.folder.name], capture_output=True, text=True, check=False)

    def test_passes_allowed_includes(self):
        for path, (allowed, _) in CASES.items():
            self.write(path, "".join(f"#include {target}\n" for target in allowed))
        result = self.run_check()
        self.assertEqual((result.returncode, result.stderr), (0, ""), result.stdout)

    def test_names_file_and_line_of_each_breach(self):
        expected = set()
        for path, (_, refused) in CASES.items():
            self.write(path, "\n" + "".join(f"#include {target}\n" for target in refused))
            expected |= {f"{path}:{number}" for number, _ in enumerate(refused, 2)}
        result = self.run_check()
        found = {":".join(line.split(":")[:2]) for line in result.stdout.splitlines() if "; allowed" in line}
        self.assertEqual(result.returncode, 1)
        self.assertEqual(found, expected)

    def test_refuses_code_in_a_folder_without_a_rule(self):
        self.write("platform/unknown/x.cpp", "#include <vector>\n")
        result = self.run_check()
        self.assertEqual(result.returncode, 1)
        self.assertIn("platform/unknown/x.cpp:1: no include rule", result.stdout)


unittest.main()
