#!/usr/bin/env python3
"""Compares Docs/Settings.md with what the table of the settings gives.

    check_settings_page.py [--renew] SOURCE-FOLDER PROGRAM...

PROGRAM... is KuvSettingsPage with whatever runs it. --renew writes the page instead.
"""
import difflib
import pathlib
import subprocess
import sys

renew = sys.argv[1] == "--renew"
root, *program = sys.argv[2 if renew else 1 :]
page = pathlib.Path(root) / "Docs" / "Settings.md"
given = subprocess.run(program, check=True, stdout=subprocess.PIPE).stdout.decode("utf-8")
if not given.startswith("# Settings\n"):
    sys.exit("KuvSettingsPage gave no page")
if renew:
    page.write_bytes(given.encode("utf-8"))
    sys.exit()

committed = page.read_bytes().decode("utf-8").replace("\r\n", "\n")
if committed != given:
    pages = committed.splitlines(), given.splitlines()
    print(*difflib.unified_diff(*pages, "Docs/Settings.md", "the table", lineterm=""), sep="\n")
    sys.exit("Docs/Settings.md is out of date: build the target settings_page to renew it")
print("Docs/Settings.md is what the table gives")
