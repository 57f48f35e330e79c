# SPDX-License-Identifier: GPL-3.0-or-later
"""Installs Penmark into a folder of its own and checks that every file is in its place and that those which name one
another agree. BUILD is the build folder, CMAKE the program, WITH_APP whether the desktop application is part of it."""

import configparser
import os
import pathlib
import re
import subprocess
import tempfile
import unittest
import xml.etree.ElementTree as ElementTree

SOURCE = pathlib.Path(__file__).resolve().parents[2]
ID = "org.penmark.Penmark"
WITH_APP = os.environ["WITH_APP"] == "1"

SCANNER = "lib/penmark/Contents/Helpers/rg"  # a link to a program of another package
ALWAYS = f"""
    bin/penmarkctl
    {SCANNER}
    share/man/man1/penmarkctl.1
    share/bash-completion/completions/penmarkctl
    share/zsh/site-functions/_penmarkctl
    share/doc/penmark/README.md
    share/doc/penmark/changelog
    share/doc/penmark/copyright
    share/doc/penmark/library-format.md
    share/doc/penmark/lzfse.md
    share/doc/penmark/recover-library.py
""".split()
APPLICATION = f"""
    bin/penmark
    bin/penmark-editor
    lib/penmark/libpenmark-print.so
    share/man/man1/penmark.1
    share/man/man1/penmark-editor.1
    share/applications/{ID}.desktop
    share/metainfo/{ID}.metainfo.xml
    share/icons/hicolor/scalable/apps/{ID}.svg
    share/icons/hicolor/symbolic/apps/{ID}-symbolic.svg
    share/bash-completion/completions/penmark
    share/zsh/site-functions/_penmark
""".split()


class InstallTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.temporary = tempfile.TemporaryDirectory()
        environment = dict(os.environ, DESTDIR=cls.temporary.name)
        subprocess.run([os.environ["CMAKE"], "--install", os.environ["BUILD"], "--prefix", "/usr"],
                       env=environment, check=True, stdout=subprocess.DEVNULL)
        cls.root = pathlib.Path(cls.temporary.name)
        cls.files = {str(path.relative_to(cls.root / "usr")) for path in cls.root.rglob("*") if path.is_file()}

    @classmethod
    def tearDownClass(cls):
        cls.temporary.cleanup()

    def test_every_file_is_in_its_place_and_no_other(self):
        self.assertEqual(self.files, set(ALWAYS + (APPLICATION if WITH_APP else [])))
        for name in self.files:
            path = self.root / "usr" / name
            self.assertGreater(path.stat().st_size, 0, name)
            # What stands beside a script that is meant to be read need not be executable.
            if path.is_symlink():
                self.assertEqual(name, SCANNER)
            elif name.startswith("bin/"):
                self.assertEqual(path.stat().st_mode & 0o777, 0o755, name)
            elif not name.endswith(".py"):
                self.assertEqual(path.stat().st_mode & 0o777, 0o644, name)
        version = subprocess.run([self.root / "usr/bin/penmarkctl", "--version"], capture_output=True, text=True)
        self.assertEqual(version.stdout, f"penmarkctl {os.environ['VERSION']}\n")

    def test_the_scanner_lists_files(self):
        scanner = self.root / "usr" / SCANNER
        self.assertTrue(os.path.isabs(os.readlink(scanner)), "it would lead elsewhere once it is installed")
        with tempfile.TemporaryDirectory() as folder:
            (pathlib.Path(folder) / "a file").write_text("text")
            listed = subprocess.run([scanner, "--files", "--null", "--no-config", "--", "."], cwd=folder,
                                    capture_output=True, text=True, check=True)
        self.assertEqual(listed.stdout, "./a file\0")
        package = (SOURCE / "packaging/CMakeLists.txt").read_text()
        self.assertRegex(package, r'CPACK_DEBIAN_PACKAGE_DEPENDS "[^"]*\bripgrep\b')

    def desktop(self):
        parser = configparser.ConfigParser(interpolation=None, delimiters=("=",))
        parser.optionxform = str
        self.assertTrue(parser.read(SOURCE / "packaging" / f"{ID}.desktop"))
        return parser

    def will_be_installed(self, *names):
        for name in names:
            self.assertIn(name, ALWAYS + APPLICATION)

    def test_the_desktop_file_names_what_is_there(self):
        parser = self.desktop()
        entry = parser["Desktop Entry"]
        self.will_be_installed(f"share/icons/hicolor/scalable/apps/{entry['Icon']}.svg", "bin/" + entry["TryExec"])
        actions = entry["Actions"].rstrip(";").split(";")
        self.assertEqual(set(parser.sections()), {"Desktop Entry", *("Desktop Action " + action for action in actions)})
        manual = (SOURCE / "docs/penmark.1").read_text()
        for section in parser.sections():
            program, *words = parser[section]["Exec"].split()
            self.will_be_installed("bin/" + program)
            for option in (word for word in words if word.startswith("--")):
                self.assertRegex(manual, rf"(?m)^\.It Fl (\w , )?{option[1:]}$")
        types = entry["MimeType"].rstrip(";").split(";")
        self.assertEqual(len(types), len(set(types)))
        for needed in ("text/plain", "text/markdown"):
            self.assertIn(needed, types)

    def test_the_metainfo_agrees_with_the_desktop_file(self):
        component = ElementTree.parse(SOURCE / "packaging" / f"{ID}.metainfo.xml").getroot()
        entry = self.desktop()["Desktop Entry"]
        self.assertEqual(component.findtext("id"), ID)
        self.assertEqual(component.findtext("launchable"), f"{ID}.desktop")
        self.assertEqual(component.findtext("icon"), entry["Icon"])
        self.assertEqual(component.findtext("name"), entry["Name"])
        self.assertEqual(component.findtext("summary"), entry["Comment"])
        self.assertEqual([category.text for category in component.iter("category")],
                         [name for name in entry["Categories"].rstrip(";").split(";") if name != "Qt"])
        self.will_be_installed(*("bin/" + binary.text for binary in component.iter("binary")))
        changelog = (SOURCE / "packaging/debian/changelog").read_text()
        version = os.environ["VERSION"]
        self.assertEqual(component.find("releases/release").get("version"), version)
        self.assertEqual(re.match(r"penmark \(([^)]*)\)", changelog).group(1), version)

    def test_icons_are_square_pictures_of_their_own(self):
        for name, size in ((ID, 128), (ID + "-symbolic", 16)):
            picture = ElementTree.parse(SOURCE / "packaging/icons" / f"{name}.svg").getroot()
            self.assertEqual(picture.get("viewBox"), f"0 0 {size} {size}")
            for element in picture.iter():
                self.assertFalse(element.tag.endswith(("}image", "}text", "}style")), "needs something outside")

    def test_scripts_and_pages_refer_to_what_is_there(self):
        for script in ("postinst", "prerm"):
            path = SOURCE / "packaging/debian" / script
            self.assertTrue(os.access(path, os.X_OK))
            subprocess.run(["sh", "-n", path], check=True)
            named = re.findall(r"/usr/(\S*penmark\S*)", path.read_text())
            self.assertTrue(named)
            self.will_be_installed(*(name.removesuffix(".gz") for name in named))
        page = (SOURCE / "docs/penmark-editor.1").read_text()
        self.will_be_installed("share/man/" + page.split()[1])

    def test_the_editor_waits_for_what_it_is_given(self):
        with tempfile.TemporaryDirectory() as folder:
            program = pathlib.Path(folder) / "penmark"
            program.write_text("#!/bin/sh\nprintf '<%s>' \"$@\"\nexit 3\n")
            program.chmod(0o755)
            result = subprocess.run([SOURCE / "packaging/penmark-editor", "+12", "a file", "*"], capture_output=True,
                                    text=True, env=dict(os.environ, PATH=f"{folder}:/usr/bin:/bin"))
        self.assertEqual((result.stdout, result.returncode), ("<--wait><+12><a file><*>", 3))


if __name__ == "__main__":
    unittest.main()
