#!/usr/bin/env python3
"""hotkeyctl_tests.py HOTKEYCTL SCHEMA: the tool as a user has it, against the installed service in the testbed that the
environment names: what --json writes is what the schema says, each exit code, and the completion of the shells."""

import json
import pathlib
import shutil
import subprocess
import sys
import time
import unittest

import jsonschema

WINE = "/usr/lib/wine/wine64"
SERVICE = r"C:\Program Files\Quil\HotKeyService\HotKeyServiceTLY.exe"
TESTBEDCTL = r"C:\testbed\bin\testbedctl.exe"
HOTKEYCTL = ""
SCHEMA = {}


def wine(*arguments):
    return subprocess.run([WINE, *arguments], stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                          timeout=120, check=False)


def tool(*arguments):
    return wine(HOTKEYCTL, *arguments)


def eventually(condition):
    end = time.monotonic() + 60
    while not condition():
        if time.monotonic() > end:
            return False
        time.sleep(0.1)
    return True


class InstalledService(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        wine(TESTBEDCTL, "profile", "healthy-laptop")
        wine(SERVICE, "-install")
        wine("sc", "start", "HotKeyServiceTLY")
        cls.addClassCleanup(cls.remove)
        assert eventually(lambda: tool("--quiet", "status").returncode == 0), "the service does not answer"

    @classmethod
    def remove(cls):
        wine(SERVICE, "-remove")
        wine(TESTBEDCTL, "profile", "no-framework")

    def expect(self, definition, exit_code, *arguments):
        done = tool(*arguments, "--json")
        self.assertEqual((exit_code, b""), (done.returncode, done.stderr))
        lines = done.stdout.decode("utf-8").splitlines()
        self.assertTrue(lines)
        for line in lines:
            jsonschema.validate(json.loads(line), SCHEMA | SCHEMA["$defs"][definition])
        return json.loads(lines[0])

    def test_each_command_writes_what_the_schema_says(self):
        self.assertEqual("Laptop 14 Model A", self.expect("sysinfo", 0, "sysinfo")["productName"])
        self.assertIn("maximumWatts", self.expect("usbc", 0, "usbc"))
        self.assertEqual({"fennixServiceInstalled": True, "fennixNodePresent": True},
                         self.expect("presence", 0, "presence"))
        self.assertEqual("running", self.expect("status", 0, "status")["service"])
        self.assertEqual(5, len(self.expect("bench", 0, "bench", "--count", "3")["operations"]))
        self.assertTrue(eventually(lambda: tool("--quiet", "log").returncode == 0), "no log")
        self.expect("log", 0, "log")
        self.expect("explain", 0, "explain", "1740")

    def examine(self):
        # In the testbed the program belongs to the user, which is a problem on a PC.
        return {check["check"]: check["verdict"] for check in self.expect("doctor", 7, "doctor")["checks"]}

    def test_doctor_looks_at_everything(self):
        # Wine now and then fails to start a child.
        self.assertTrue(eventually(lambda: self.examine()["WMI"] == "ok"), "WMI does not answer")
        checks = self.examine()
        self.assertEqual("problem", checks["program folder"])
        self.assertEqual("unknown", checks["recovery"])  # Wine keeps no failure actions
        self.assertEqual("unknown", checks["endpoint"])  # and does not check who a server is
        for well in ("service", "program path", "log folder", "old logs", "policy", "device framework"):
            self.assertEqual("ok", checks[well], well)

    def test_launches_are_taken(self):
        self.assertEqual(0, tool("launch", "sysinfo").returncode)
        self.assertEqual(0, tool("launch", "usbc").returncode)


class Alone(unittest.TestCase):
    def test_without_a_service_it_is_not_reachable(self):
        for command in (["sysinfo"], ["usbc"], ["presence"], ["status"], ["bench"], ["launch", "sysinfo"]):
            self.assertEqual(3, tool(*command).returncode, command)

    def test_doctor_finds_a_problem(self):
        done = tool("doctor")
        self.assertEqual(7, done.returncode)
        self.assertRegex(done.stdout.decode("utf-8"), r"(?m)^problem +service +not installed\n +-> install it: ")

    def test_bad_usage(self):
        for arguments in ([], ["what"], ["explain"], ["completion"], ["completion", "fish"], ["launch", "other"],
                          ["bench", "--count", "0"], ["--timeout", "x", "status"]):
            done = tool(*arguments)
            self.assertEqual(2, done.returncode, arguments)
            self.assertRegex(done.stderr.decode("utf-8"), r"^hotkeyctl: .+ \(see hotkeyctl .*--help\)\r?\n$")

    def test_nothing_known_is_empty(self):
        self.assertEqual(1, tool("explain", "no such text").returncode)

    def test_a_pasted_line_is_explained(self):
        done = tool("explain", "2024/03/05 14:07:09.042|00001A2C|Error      |RpcServer::CKeyBoardBridge::LaunchProcess|"
                    "CreateProcessAsUser failed. Error: 0x00000002")
        self.assertEqual(0, done.returncode)
        self.assertIn("the program is not there", done.stdout.decode("utf-8"))


class Completion(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.script = tool("completion", "bash").stdout.decode("utf-8")

    def complete(self, *words):
        script = self.script + 'COMP_WORDS=("$@"); COMP_CWORD=$(($# - 1)); _hotkeyctl; printf "%s\\n" "${COMPREPLY[@]}"'
        return subprocess.run([shutil.which("bash"), "-c", script, "bash", *words], stdout=subprocess.PIPE, text=True,
                              check=True).stdout.split()

    def test_commands(self):
        self.assertEqual(["sysinfo", "status"], self.complete("hotkeyctl", "s"))

    def test_words_of_a_command(self):
        self.assertEqual(["sysinfo"], self.complete("hotkeyctl", "launch", "s"))
        self.assertEqual(["--seconds"], self.complete("hotkeyctl", "bench", "--s"))

    def test_values_of_an_option(self):
        self.assertEqual(["TraceIn", "TraceOut"], self.complete("hotkeyctl", "log", "--level", "T"))

    def test_options_of_the_program_behind_each_command(self):
        self.assertEqual(["--timeout"], self.complete("hotkeyctl", "sysinfo", "--t"))

    def test_hidden_ones_are_not_offered(self):
        self.assertEqual([], self.complete("hotkeyctl", "doctor", "--ask"))

    def test_bash_knows_the_program(self):
        done = subprocess.run([shutil.which("bash"), "-c", self.script + "complete -p hotkeyctl hotkeyctl.exe"],
                              stdout=subprocess.PIPE, text=True, check=True)
        self.assertEqual("complete -F _hotkeyctl hotkeyctl\ncomplete -F _hotkeyctl hotkeyctl.exe\n", done.stdout)

    def test_powershell_gets_every_command(self):
        script = tool("completion", "powershell").stdout.decode("utf-8")
        self.assertTrue(script.splitlines()[1].startswith("Register-ArgumentCompleter -Native -CommandName hotkeyctl"))
        for command in ("sysinfo", "usbc", "presence", "launch", "status", "watch", "log", "doctor", "explain", "bench"):
            self.assertIn(f"        '{command}' = @(", script)
        self.assertEqual(script.count("{"), script.count("}"))


if __name__ == "__main__":
    HOTKEYCTL = sys.argv[1]
    SCHEMA = json.loads(pathlib.Path(sys.argv[2]).read_text(encoding="utf-8"))
    unittest.main(argv=sys.argv[:1])
