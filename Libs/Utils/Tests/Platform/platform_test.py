"""Starts an application in made-up installations and checks what it takes for its directories.

usage: platform_test.py HOST [EMULATOR] PROBE
"""

import os
import pathlib
import shutil
import subprocess
import sys
import tempfile
import unittest

HOST, *EMULATOR, PROBE = sys.argv[1:]
SUFFIX = pathlib.Path(PROBE).suffix
DRIVE = "Z:" if HOST == "Windows" else ""  # where the emulator shows the root of all files


def converted(path):
    """The path as the library gives it: on either host with backslashes."""
    return DRIVE + str(path).replace("/", "\\")


def native(path):
    return converted(path) if HOST == "Windows" else str(path)


class Start(unittest.TestCase):
    def setUp(self):
        folder = pathlib.Path(tempfile.mkdtemp(prefix="zaPlatform é日本 "))
        self.addCleanup(shutil.rmtree, folder)
        self.root = folder / "prog ü"
        self.roaming = folder / "profile ö" / "roaming"
        self.shared = folder / "shared ß"
        self.elsewhere = folder / "elsewhere"
        self.elsewhere.mkdir()

    def install(self, name):
        """Puts the probe under this name into the installation."""
        program = self.root / "bin" / "WIN64" / (name + SUFFIX)
        program.parent.mkdir(parents=True, exist_ok=True)
        shutil.copy(PROBE, program)
        return program

    def start(self, program, *arguments, roaming=None, errors=""):
        """What the program prints by name, started from another directory than its own."""
        done = subprocess.run(
            [*EMULATOR, program, roaming or native(self.roaming), native(self.shared), *arguments],
            cwd=self.elsewhere, env=dict(os.environ, WINEPATH=os.path.dirname(PROBE)),
            stdout=subprocess.PIPE, stderr=subprocess.PIPE, timeout=60)
        self.assertEqual((0, errors), (done.returncode, done.stderr.decode().replace("\r\n", "\n")))
        return dict(line.split("=", 1) for line in done.stdout.decode().splitlines())

    def expected(self, root, app):
        base = converted(root)
        return {
            "app": app,
            "exe": base + r"\bin\WIN64",
            "base": base,
            "bin": base + r"\bin\WIN64",
            "lib": base + r"\lib\WIN64",
            "plugins": base + r"\lib\plugins\WIN64",
            "qt": base + r"\bin\WIN64\qtplugins",
            "examples": base + r"\examples",
            "data": base + r"\data",
            "preferences": native(self.roaming) + "\\" + app + "\\\\",
            "writable": native(self.roaming) + "\\" + app + r"-15.3\data",
            "moved": "no",
        }

    def test_executable_tells_the_installation(self):
        program = self.install("app")
        relative = os.path.relpath(program, self.elsewhere)
        for argv0 in (native(program), relative, relative.replace("/", "\\")):
            with self.subTest(argv0=argv0):
                shutil.rmtree(self.roaming, ignore_errors=True)
                self.assertEqual(self.expected(self.root, "app"), self.start(program, argv0))
                self.assertEqual([], os.listdir(self.roaming / "app"))
                self.assertEqual([], os.listdir(self.roaming / "app-15.3" / "data"))

    def test_running_program_tells_it_when_its_path_does_not(self):
        for name in ("app", "app.v2"):
            program = self.install(name)
            for argv0 in (name + SUFFIX, native(self.elsewhere / "missing" / name)):
                with self.subTest(argv0=argv0):
                    self.assertEqual(self.expected(self.root, "app"), self.start(program, argv0))

    def test_program_of_another_name_tells_nothing(self):
        other = self.elsewhere / "other" / "bin" / "WIN64"
        other.mkdir(parents=True)
        program = self.install("app")
        self.assertEqual(self.expected(self.elsewhere / "other", "host"),
                         self.start(program, native(other / "host.exe")))
        # A file of the name in the right place settles it: the running program is not asked.
        (other / "app").touch()
        self.assertEqual(self.expected(self.elsewhere / "other", "app"),
                         self.start(program, native(other / "app.exe")))

    def test_shared_folder_named_like_the_installation_goes_first(self):
        program = self.install("app")
        makers = self.shared / "Kestrova"
        (makers / self.root.name / "data").mkdir(parents=True)
        (makers / "examples").mkdir()  # not of this installation
        expected = self.expected(self.root, "app")
        expected["data"] = native(self.shared) + "\\Kestrova\\" + self.root.name + r"\data"
        self.assertEqual(expected, self.start(program, native(program)))

    def test_without_application_data_the_user_has_directories_below_the_base(self):
        program = self.install("app")
        expected = self.expected(self.root, "app")
        expected["preferences"] = expected["base"] + r"\preferences"
        expected["writable"] = expected["data"]
        message = ("Couldn't get application data directory, using "
                   f"'{expected['preferences']}', for preferences!\n")
        nowhere = native("/dev/null/nowhere")
        self.assertEqual(expected, self.start(program, native(program), roaming=nowhere, errors=message))
        self.assertTrue((self.root / "preferences").is_dir())
        self.assertTrue((self.root / "data").is_dir())

    def test_application_data_gets_no_second_separator(self):
        program = self.install("app")
        roaming = native(self.roaming) + ("\\" if HOST == "Windows" else "/")
        found = self.start(program, native(program), roaming=roaming)
        self.assertEqual((roaming + "app\\\\", roaming + r"app-15.3\data"),
                         (found["preferences"], found["writable"]))

    def test_binaries_without_a_folder_for_the_platform_are_for_one_application(self):
        given = native(self.root)
        for folder, expected in (("bin", r"\bin"), ("bin/WIN64", r"\bin\WIN64")):
            (self.root / folder).mkdir(parents=True)
            found = self.start(PROBE, given, "metaio")
            self.assertEqual((given, given + expected), (found["base"], found["bin"]))


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
