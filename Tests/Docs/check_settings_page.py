#!/usr/bin/env python3
"""Compares Docs/Settings.md with the page that KuvSettingsPage writes from the settings table.

    check_settings_page.py [--renew] SOURCE-FOLDER PROGRAM...

PROGRAM... is KuvSettingsPage with the program that runs it, if any. --renew writes the page instead.
"""
import difflib
import pathlib
import subprocess
import sys

renew = sys.argv[1] == "--renew"
root, *program = sys.argv[2 if renew else 1 :]
page = pathlib.Path(root) / "Docs" / "Settings.md"
generated = subprocess.run(program, check=True, stdout=subprocess.PIPE).stdout.decode("utf-8")
if not generated.startswith("# Settings\n"):
    sys.exit("KuvSettingsPage wrote no page")
if renew:
    page.write_bytes(generated.encode("utf-8"))
    sys.exit()

committed = page.read_bytes().decode("utf-8").replace("\r\n", "\n")
if committed != generated:
    pages = committed.splitlines(), generated.splitlines()
    print(*difflib.unified_diff(*pages, "Docs/Settings.md", "the table", lineterm=""), sep="\n")
    sys.exit("Docs/Settings.md is out of date: build the target settings_page to update it")
print("Docs/Settings.md is up to date")
