#!/usr/bin/env python3
"""Runs the program on an example machine and opens its page in a headless browser. Checks that the matrix matches the
JSON output of the same run, that the texts have enough contrast, that the page needs no other file, and that the
program does not change the machine.

    check_page.py --wine SCRIPT --prefix FOLDER --program FILE --filter FILE --source FOLDER [--pictures FOLDER]

The machine is a Wine prefix for this check only.
"""
import argparse
import json
import os
import pathlib
import re
import sys
import tempfile

import devtools
import json_schema

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2] / "Support"))
from wine_prefix import FAILURES, Prefix, expect, finish, windows_path  # noqa: E402  after the path to it

PROVIDERS = r"HKLM\SOFTWARE\Microsoft\Windows\CurrentVersion\Authentication\Credential Providers"
FOREIGN = "{11111111-2222-3333-4444-555555555555}"
FOREIGN_NAME = "<script>document.title='taken'</script> \"quoted\" & 'so'"
WIDTHS = (1280, 390)
COLORS = {
    "light": {"shown": "rgb(221, 242, 227)", "hidden": "rgb(238, 241, 244)"},
    "dark": {"shown": "rgb(21, 55, 42)", "hidden": "rgb(35, 43, 54)"},
}
TEXTS = {
    (True, True): "\u2713 shown",
    (True, False): "+ appears",
    (False, True): "\u2212 disappears",
    (False, False): "\u2013 hidden",
}

LOOK = r"""
(() => {
  const channel = (value) => value <= 0.03928 ? value / 12.92 : ((value + 0.055) / 1.055) ** 2.4;
  const parse = (text) => text.match(/[\d.]+/g).map(Number);
  const luminance = ([r, g, b]) =>
    0.2126 * channel(r / 255) + 0.7152 * channel(g / 255) + 0.0722 * channel(b / 255);
  const ground = (element) => {
    for (let node = element; node; node = node.parentElement) {
      const color = parse(getComputedStyle(node).backgroundColor);
      if (color.length < 4 || color[3] === 1) return color;
      if (color[3] !== 0) throw new Error('a semitransparent background');
    }
    return [255, 255, 255];
  };
  const faint = [];
  const walker = document.createTreeWalker(document.body, NodeFilter.SHOW_TEXT);
  let texts = 0;
  for (let node = walker.nextNode(); node; node = walker.nextNode()) {
    if (!node.data.trim() || node.parentElement.getClientRects().length === 0) continue;
    ++texts;
    const [light, dark] = [luminance(parse(getComputedStyle(node.parentElement).color)),
                           luminance(ground(node.parentElement))].sort((a, b) => b - a);
    const ratio = (light + 0.05) / (dark + 0.05);
    if (ratio < 4.5) faint.push(node.data + ' ' + ratio);
  }
  const wide = [...document.querySelectorAll('body *')]
    .filter((element) => element.getBoundingClientRect().right > innerWidth + 0.5)
    .map((element) => element.tagName + '.' + element.className);
  return {
    width: innerWidth, scrolled: document.documentElement.scrollWidth, wide, texts, faint,
    title: document.title, scripts: document.scripts.length, ground: getComputedStyle(document.body).backgroundColor,
    verdict: document.querySelector('.verdict p').innerText,
    code: Number(document.querySelector('.verdict').dataset.code),
    cells: [...document.querySelectorAll('.matrix')].map((matrix) => ({
      sessions: matrix.dataset.sessions.split(' '),
      rows: [...matrix.querySelectorAll('tbody tr')].map((row) => ({
        clsid: row.dataset.provider, name: row.querySelector('th').innerText,
        cells: [...row.querySelectorAll('td')].map((cell) => ({
          scenario: cell.dataset.scenario, text: cell.querySelector('.state').innerText,
          ground: getComputedStyle(cell).backgroundColor, ring: getComputedStyle(cell).boxShadow !== 'none',
          labeled: cell.querySelector('.label').getClientRects().length > 0,
        })),
      })),
    })),
    settings: Object.fromEntries([...document.querySelectorAll('[data-setting]')].map(
      (row) => [row.dataset.setting, row.querySelector('.effective').innerText])),
    findings: [...document.querySelectorAll('.finding:not(.gone)')].map((finding) => finding.dataset.id),
  };
})()
"""


class Machine(Prefix):
    def state(self, folder):
        """Returns all keys and values, and the size and time of each file."""
        for root in ("HKLM", "HKCU"):
            self.must("reg", "export", root, windows_path(folder / f"{root}.reg"), "/y")
        registry = {root: (folder / f"{root}.reg").read_bytes() for root in ("HKLM", "HKCU")}
        files = {}
        for base, folders, names in os.walk(self.drive):
            folders[:] = [name for name in folders if not (pathlib.Path(base) / name).is_symlink()]
            for name in [*names, *folders]:
                path = pathlib.Path(base) / name
                if not path.is_symlink():
                    files[str(path)] = (path.stat().st_size, path.stat().st_mtime_ns)
        return registry, files


def cells_of(answer):
    """Returns the expected cells: (session, provider, scenario) to (shown, shown before)."""
    subject, today = answer["assumed"] or answer["now"], answer["now"]
    before = {(row["scenario"], row["session"]): row["shown"] for row in today["decisions"]}
    cells = {}
    for row in subject["decisions"]:
        for provider in subject["providers"]:
            clsid = provider["clsid"]
            cells[row["session"], clsid, row["scenario"]] = (
                clsid in row["shown"], clsid in before[row["scenario"], row["session"]])
    return cells


def check_matrix(name, page, answer, scheme, narrow):
    expected = cells_of(answer)
    names = {row["clsid"]: row["name"] or row["clsid"] for row in (answer["assumed"] or answer["now"])["providers"]}
    seen = set()
    for matrix in page["cells"]:
        for row in matrix["rows"]:
            expect(f"{name}: name of {row['clsid']}", row["name"], names[row["clsid"]])
            for cell in row["cells"]:
                for session in matrix["sessions"]:
                    key = session, row["clsid"], cell["scenario"]
                    shown, before = expected[key]
                    seen.add(key)
                    expect(f"{name}: {key}", (cell["text"], cell["ground"], cell["ring"], cell["labeled"]),
                           (TEXTS[shown, before], COLORS[scheme]["shown" if shown else "hidden"], shown != before,
                            narrow))
    expect(f"{name}: cells", seen, set(expected))


def check_page(name, browser, path, answer, pictures):
    subject = answer["assumed"] or answer["now"]
    for scheme in ("light", "dark"):
        for width in WIDTHS:
            view = f"{name}, {scheme}, {width}"
            browser.show(path, width, scheme)
            page = browser.evaluate(LOOK)
            expect(f"{view}: requests", browser.requests, [path.as_uri()])
            expect(f"{view}: width", (page["scrolled"], page["wide"]), (width, []))
            expect(f"{view}: texts with low contrast", page["faint"], [])
            expect(f"{view}: texts", page["texts"] > 100, True)
            expect(f"{view}: title", page["title"], f"Kuv filter check of {answer['machine']}")
            expect(f"{view}: scripts", page["scripts"], 0)
            lead = "With these assumptions: " if answer["assumed"] else ""
            expect(f"{view}: verdict", (page["verdict"], page["code"]),
                   (lead + subject["verdict"], subject["exitCode"]))
            expect(f"{view}: settings", page["settings"],
                   {row["name"]: row["effective"] for row in subject["settings"]})
            expect(f"{view}: findings", page["findings"], [row["id"] for row in subject["findings"]])
            check_matrix(view, page, answer, scheme, width < 700)
            if pictures:
                browser.screenshot(pictures / f"{name}-{scheme}-{width}.png")
    browser.show(path, 794, "dark", medium="print")
    expect(f"{name}, on paper: ground", browser.evaluate(LOOK)["ground"], "rgb(255, 255, 255)")


def main():
    parser = argparse.ArgumentParser()
    for option in ("wine", "prefix", "program", "filter", "source"):
        parser.add_argument(f"--{option}", required=True)
    parser.add_argument("--pictures", type=pathlib.Path)
    given = parser.parse_args()
    docs = pathlib.Path(given.source) / "Docs"
    schema = json.loads((docs / "FilterCheck.schema.json").read_text(encoding="utf-8"))
    with Machine(given.wine, given.prefix) as machine, tempfile.TemporaryDirectory() as folder, \
            devtools.Browser() as browser:
        machine.must("regsvr32", "/s", windows_path(given.filter))
        machine.must("reg", "import", windows_path(pathlib.Path(given.source) / "Tools/FilterHost/Sample.reg"))
        machine.run("reg", "delete", f"{PROVIDERS}\\{FOREIGN}", "/f")
        check_examples(machine, given.program, (docs / "FilterCheck.md").read_text(encoding="utf-8"))
        check_full_disk(machine, given.program)
        check(machine, given, schema, browser, pathlib.Path(folder))
    finish("check_page", "the pages match the JSON output")


def check_examples(machine, program, page):
    """Checks that the output contains the quoted lines in order. A line with an ellipsis represents other lines."""
    examples = re.findall(r"```\nKuvFilterCheck *(.*)\n```\n(?:(?!```).*\n)*```text\n((?:.*\n)*?)```\n", page)
    expect("examples of the page", len(examples), 2)
    for arguments, shown in examples:
        _, output, _ = machine.run(program, *arguments.split())
        answer = output.decode("utf-8")
        for part in shown.split("\u2026\n"):
            _, found, answer = answer.partition(part)
            expect(f"example {arguments!r}", found, part)


def check_full_disk(machine, program):
    for arguments in ((), ("--json",), ("--help",)):
        with open("/dev/full", "wb") as full:
            code, _, errors = machine.run(program, *arguments, stdout=full)
        expect(f"{arguments} on a full disk", (code, errors), (3, b"KuvFilterCheck: cannot write the output\n"))


def check(machine, given, schema, browser, folder):
    machine.must("reg", "add", f"{PROVIDERS}\\{FOREIGN}", "/ve", "/d", FOREIGN_NAME, "/f")
    before = machine.state(folder)

    runs = {
        "today": (),
        "what-if": ("--what-if", "RdpOnly=1", "--what-if", "EnableSmartCards=0"),
        "off": ("--what-if", "SKey=", "--what-if", "LogFileMaxCount=3"),
    }
    codes = {"today": 0, "what-if": 0, "off": 2}
    for name, arguments in runs.items():
        path = folder / f"{name}.html"
        code, output, errors = machine.run(given.program, "--json", "--html", windows_path(path), *arguments)
        expect(f"{name}: errors", errors, b"")
        answer = json.loads(output)
        FAILURES.extend(f"{name}: {error}" for error in json_schema.errors(answer, schema))
        expect(f"{name}: exit code", (code, (answer["assumed"] or answer["now"])["exitCode"]), (codes[name],) * 2)
        sessions = {(row["session"], row["outcome"]) for row in (answer["assumed"] or answer["now"])["decisions"]}
        expect(f"{name}: protected somewhere", any(outcome == "protected" for _, outcome in sessions), name != "off")
        expect(f"{name}: foreign name", [row["name"] for row in answer["now"]["providers"] if row["clsid"] == FOREIGN],
               [FOREIGN_NAME])
        check_page(name, browser, path, answer, given.pictures)

    registry, files = machine.state(folder)
    for root in registry:
        expect(f"{root} afterwards is as before", registry[root] == before[0][root], True)
    expect("files that changed", {path for path in files.keys() | before[1].keys()
                                  if files.get(path) != before[1].get(path)}, set())


if __name__ == "__main__":
    try:
        main()
    except devtools.BrowserFailure as failure:
        sys.exit(f"check_page: {failure}")
