# Copyright (c) 2026 the libquill-wgc authors
# SPDX-License-Identifier: MIT
"""csharp_test.py LIBRARY EXAMPLES-FOLDER SCRATCH-FOLDER

The C# example, compiled and run by Mono on Linux, on the native tests' platform, which LIBRARY holds
together with the library's own sources.
"""
import pathlib
import re
import shutil
import struct
import subprocess
import sys
import unittest

LIBRARY, EXAMPLES, SCRATCH = map(pathlib.Path, sys.argv[1:])
SOURCES = EXAMPLES / "csharp"
FOLDER = SCRATCH / "csharp"
BROKEN = FOLDER / "broken"  # Capture.exe without its library
DLL = "libquill-wgc.dll"
WIDTH, HEIGHT = 97, 65  # of what fake_find_window finds


def compile_program(name, *sources):
    subprocess.run(["mcs", "-langversion:7.2", "-warn:4", "-warnaserror", "-unsafe", f"-main:{name}",
                    f"-out:{FOLDER / name}.exe", SOURCES / "QuillWgc.cs", *sources], check=True)


def start(name, *arguments, folder=FOLDER):
    # -k: a program that has crashed may hang in Mono's report of it.
    return subprocess.Popen(["timeout", "-k", "1", "60", "mono", folder / f"{name}.exe", *arguments],
                            stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True, cwd=SCRATCH)


def setUpModule():
    global waiting
    shutil.rmtree(FOLDER, ignore_errors=True)
    FOLDER.mkdir()
    compile_program("Capture", SOURCES / "Capture.cs")
    (FOLDER / "Capture.exe.config").write_text(f"""<configuration>
      <dllmap dll="user32.dll">
        <dllentry name="FindWindowW" dll="{LIBRARY}" target="fake_find_window"/>
      </dllmap>
    </configuration>""")
    shutil.copytree(FOLDER, BROKEN)
    (FOLDER / DLL).symlink_to(LIBRARY)
    waiting = start("Capture", "Minimised", "frame.bmp")
    compile_program("SessionTest", pathlib.Path(__file__).with_name("SessionTest.cs"))


class CSharp(unittest.TestCase):
    def assert_says(self, program, *parts):
        out, err = program.communicate()
        self.assertEqual((program.returncode, out), (1, ""))
        self.assertRegex(err, r"\Acapture: [^\n]+\n\Z")
        for part in parts:
            self.assertIn(part, err)

    def assert_fails(self, arguments, message):
        self.assert_says(start("Capture", *arguments), f": {message}\n")

    def assert_lacks(self, name):
        self.assert_says(start("Capture", "Pattern", "frame.bmp", folder=BROKEN), name)

    def test_binding(self):
        program = start("SessionTest")
        self.assertEqual(program.communicate(), ("", ""))
        self.assertEqual(program.returncode, 0)

    def test_log_callback_is_kept_from_the_collector(self):
        # Mono never frees what a static method is called through; other runtimes do.
        binding = (SOURCES / "QuillWgc.cs").read_text(encoding="utf-8")
        kept = re.findall(r"static readonly LogCallback (\w+) =", binding)
        self.assertEqual(re.findall(r"\.wgc_register_logger\((.*)\);", binding), kept)
        self.assertEqual(len(kept), 1)

    def test_program_saves_every_pixel(self):
        file = FOLDER / "frame.bmp"
        program = start("Capture", "Pattern", str(file))
        self.assertEqual(program.communicate(), ("", ""))
        self.assertEqual(program.returncode, 0)
        # Size, where pixels begin; width, rows from top to bottom; planes, bits; no compression.
        header = b"BM" + struct.pack("<I4xIIiiHH24x", 54 + WIDTH * HEIGHT * 4, 54, 40, WIDTH,
                                     -HEIGHT, 1, 32)
        self.assertEqual(file.read_bytes(),
                         header + bytes(i % 251 for i in range(WIDTH * HEIGHT * 4)))

    def test_program_says_what_is_wrong(self):
        self.assert_fails([], "usage: capture TITLE FILE.bmp")
        self.assert_fails(["no such title", "frame.bmp"], "no window has that title")
        self.assert_fails(["Closing", "frame.bmp"], "the window was closed")
        self.assert_fails(["Failing", "frame.bmp"],
                          "capture could not start: Failed to create d3d11 device,hr:80004005")
        nowhere = str(FOLDER / "no such folder" / "frame.bmp")
        self.assert_says(start("Capture", "Pattern", nowhere), nowhere)

    def test_program_names_a_library_that_is_missing_or_lacks_a_function(self):
        self.assert_lacks(DLL)
        (BROKEN / DLL).write_bytes(b"not a library")
        self.assert_lacks(DLL)
        (BROKEN / DLL).unlink()
        subprocess.run(["cc", "-shared", "-o", BROKEN / DLL, "-x", "c", "/dev/null"], check=True)
        self.assert_lacks("wgc_register_logger")

    def test_program_waits_for_a_frame(self):
        self.assert_says(waiting, ": no frame in 5 seconds: is the window minimised?\n")


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
