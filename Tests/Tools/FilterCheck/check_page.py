#!/usr/bin/env python3
"""Runs the program on an example machine and opens its page in a headless browser. Checks that the kinds of
sign-in, the findings and the matrix match the JSON output of the same run, that colors represent risk, that the texts
have enough contrast, that the page needs no other file, and that the program does not change the machine.

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
# The backgrounds by risk: of the verdict, of the state of a kind of sign-in, and of an outcome or a provider.
GREEN, AMBER, RED, NONE = "green", "amber", "red", "none"
COLORS = {
    "light": {
        "verdict": {GREEN: "rgb(28, 110, 61)", AMBER: "rgb(242, 182, 50)", RED: "rgb(179, 38, 30)"},
        "state": {GREEN: "rgb(221, 242, 227)", AMBER: "rgb(253, 238, 203)", RED: "rgb(179, 38, 30)"},
        "outcome": {GREEN: "rgb(221, 242, 227)", AMBER: "rgb(253, 238, 203)", RED: "rgb(253, 227, 224)",
                    NONE: "rgb(233, 237, 241)"},
    },
    "dark": {
        "verdict": {GREEN: "rgb(33, 122, 69)", AMBER: "rgb(224, 165, 38)", RED: "rgb(194, 52, 43)"},
        "state": {GREEN: "rgb(21, 55, 42)", AMBER: "rgb(64, 50, 15)", RED: "rgb(194, 52, 43)"},
        "outcome": {GREEN: "rgb(21, 55, 42)", AMBER: "rgb(64, 50, 15)", RED: "rgb(72, 31, 29)",
                    NONE: "rgb(43, 52, 65)"},
    },
}
NO_COLOR = "rgba(0, 0, 0, 0)"
RISKS = {"required": GREEN, "alternatives": AMBER, "off": RED, "no-second-factor": RED, "locked": RED}
WORDS = {"required": "Second factor required", "alternatives": "Required, with alternatives",
         "off": "Second factor off", "no-second-factor": "No second factor offered", "locked": "No one can sign in"}
SIGNS = {GREEN: "\u2713", AMBER: "!", RED: "\u2715"}
NEVER_PROTECTED = ("credui", "plap")
KUV = ("{5E1B7C30-9A42-4D6F-8C15-A3F02E76D418}", "{C27D40E9-16B3-4A8E-B7F2-094E6D1A35C8}")
TITLES = {"none": "What users see", "not-loaded": "What users would see if Windows loaded the filter"}
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
  const settings = Object.fromEntries([...document.querySelectorAll('[data-setting]')].map(
    (row) => [row.dataset.setting, [row.querySelector('.effective').textContent, row.closest('details') !== null]]));
  const folded = [...document.querySelectorAll('details')].filter((fold) => !fold.open).length;
  for (const fold of document.querySelectorAll('details')) fold.open = true;
  const top = (selector) => document.querySelector(selector).getBoundingClientRect().top;
  const visible = (element) => element.getClientRects().length > 0 ? element.innerText : 'not visible';
  const color = (element) => getComputedStyle(element).backgroundColor;
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
    verdictGround: color(document.querySelector('.verdict')),
    kinds: [...document.querySelectorAll('.kind')].map((kind) => ({
      kind: kind.dataset.kind, state: kind.dataset.state, ground: color(kind.querySelector('.state')),
      words: kind.querySelector('.state').innerText.replace(/\s+/g, ' '), text: kind.innerText,
      ways: [...kind.querySelectorAll('li')].map((way) => way.innerText),
    })),
    tops: ['.verdict', '.kinds', '.findings', '.matrix', '.list', 'details', 'dl'].map(top),
    matrixTitle: document.querySelector('.matrix').closest('section').querySelector('h2').innerText,
    tooltips: document.querySelectorAll('[title]').length, settings, folded,
    cells: [...document.querySelectorAll('.matrix')].map((matrix) => ({
      sessions: matrix.dataset.sessions.split(' '),
      outcomes: [...matrix.querySelectorAll('.outcome')].map((cell) => ({
        scenario: cell.dataset.scenario, text: cell.innerText, ground: color(cell.querySelector('.chip')),
      })),
      rows: [...matrix.querySelectorAll('[data-provider]')].map((row) => ({
        clsid: row.dataset.provider, name: row.querySelector('.name')?.innerText ?? '',
        code: visible(row.querySelector('code')), mark: row.querySelector('th .mark')?.innerText ?? '',
        cells: [...row.querySelectorAll('td')].map((cell) => ({
          scenario: cell.dataset.scenario, text: cell.innerText, ground: color(cell),
          ring: getComputedStyle(cell).boxShadow !== 'none',
          labeled: getComputedStyle(cell, '::before').display === 'block',
        })),
      })),
    })),
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


def subject_of(answer):
    return answer["assumed"] or answer["now"]


def ways_around(row):
    return [clsid for clsid in row["shown"] if clsid not in KUV]


def risk_of_outcome(row, answer):
    if answer["obstacle"] != "none" or row["scenario"] in NEVER_PROTECTED:
        return NONE
    if row["outcome"] != "protected" or len(ways_around(row)) == len(row["shown"]):
        return RED
    return AMBER if ways_around(row) else GREEN


def check_kinds(name, page, answer, scheme):
    coverage = subject_of(answer)["coverage"]
    names = {row["clsid"]: row["name"] or row["clsid"] for row in subject_of(answer)["providers"]}
    expect(f"{name}: kinds", [kind["kind"] for kind in page["kinds"]], ["console", "remote", "elevation"])
    for kind in page["kinds"]:
        row = coverage[kind["kind"]]
        risk = RISKS[row["state"]]
        expect(f"{name}: {kind['kind']}", (kind["state"], kind["words"], kind["ground"]),
               (row["state"], f"{SIGNS[risk]} {WORDS[row['state']]}", COLORS[scheme]["state"][risk]))
        ways = [] if row["state"] == "off" else [names[clsid] for clsid in row["ways"]]
        expect(f"{name}: ways of {kind['kind']}", [re.sub(r" \([^()]*\)$", "", way) for way in kind["ways"]], ways)
        if row["because"]["value"]:
            expect(f"{name}: reason of {kind['kind']}",
                   f"{row['because']['decidedBy']} is {row['because']['value']} (" in kind["text"], True)
        before = answer["now"]["coverage"][kind["kind"]]["state"]
        expect(f"{name}: today's state of {kind['kind']}", f"today: {WORDS[before]}" in kind["text"],
               before != row["state"])


def risk_of_verdict(subject):
    states = {row["state"] for row in subject["coverage"].values()}
    if subject["exitCode"] == 2:
        return RED
    return GREEN if subject["exitCode"] == 0 and states == {"required"} else AMBER


def check_matrix(name, page, answer, scheme, narrow):
    colors = COLORS[scheme]["outcome"]
    subject = subject_of(answer)
    decisions = {(row["session"], row["scenario"]): row for row in subject["decisions"]}
    before = {(row["session"], row["scenario"]): row["shown"] for row in answer["now"]["decisions"]}
    names = {row["clsid"]: row["name"] for row in subject["providers"]}
    seen = set()
    for matrix in page["cells"]:
        for session in matrix["sessions"]:
            for cell in matrix["outcomes"]:
                row = decisions[session, cell["scenario"]]
                expect(f"{name}: outcome of {session}, {cell['scenario']}", (cell["text"], cell["ground"]),
                       (row["outcome"], colors[risk_of_outcome(row, answer)]))
            for line in matrix["rows"]:
                clsid = line["clsid"]
                expect(f"{name}: name of {clsid}", (line["name"], line["code"], line["mark"]),
                       (names[clsid], clsid, "second factor" if clsid in KUV else ""))
                for cell in line["cells"]:
                    key = session, cell["scenario"]
                    row = decisions[key]
                    shown = clsid in row["shown"]
                    seen.add((*key, clsid))
                    acts = shown and row["outcome"] == "protected" and answer["obstacle"] == "none"
                    ground = colors[GREEN if clsid in KUV else AMBER] if acts else NO_COLOR
                    expect(f"{name}: {key} {clsid}", (cell["text"], cell["ground"], cell["ring"], cell["labeled"]),
                           (TEXTS[shown, clsid in before[key]], ground, shown != (clsid in before[key]), narrow))
    expect(f"{name}: cells", seen, {(*key, clsid) for key in decisions for clsid in names})


def check_page(name, browser, path, answer, pictures):
    subject = subject_of(answer)
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
            expect(f"{view}: color of the verdict", page["verdictGround"],
                   COLORS[scheme]["verdict"][risk_of_verdict(subject)])
            check_kinds(view, page, answer, scheme)
            expect(f"{view}: order from top to bottom", page["tops"], sorted(page["tops"]))
            expect(f"{view}: heading of the matrix", page["matrixTitle"], TITLES[answer["obstacle"]])
            expect(f"{view}: tooltips", page["tooltips"], 0)
            today = {row["name"]: (row["effective"], row["source"]) for row in answer["now"]["settings"]}
            expect(f"{view}: settings, and whether they are folded", (page["settings"], page["folded"]), ({
                row["name"]: [row["effective"], row["policy"] is None and row["local"] is None
                              and today[row["name"]] == (row["effective"], row["source"])]
                for row in subject["settings"]}, 1))
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
    examples = re.findall(r"```bat\nKuvFilterCheck *(.*)\n```\n(?:(?!```).*\n)*```text\n((?:.*\n)*?)```\n", page)
    expect("examples of the page", len(examples), page.count("<!-- run: Tests/Tools/FilterCheck/check_page.py -->"))
    expect("examples of the page", len(examples), 2)
    for arguments, shown in examples:
        _, output, _ = machine.run(program, *arguments.split())
        answer = output.decode("utf-8")
        for part in filter(None, shown.split("\u2026\n")):
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
        "today": (0, ()),
        "what-if": (2, ("--what-if", "RdpOnly=1", "--what-if", "EnableSmartCards=0")),
        "required": (0, ("--what-if", "ProvidersWhitelist=", "--what-if", "EnableSmartCards=0")),
        "off": (2, ("--what-if", "SKey=", "--what-if", "LogFileMaxCount=3")),
    }
    for name, (code, arguments) in runs.items():
        check_run(machine, given, schema, browser, folder / f"{name}.html", code, arguments)
    registry, files = machine.state(folder)
    for root in registry:
        expect(f"{root} afterwards is as before", registry[root] == before[0][root], True)
    expect("files that changed", {path for path in files.keys() | before[1].keys()
                                  if files.get(path) != before[1].get(path)}, set())
    machine.must("regsvr32", "/s", "/u", windows_path(given.filter))
    answer = check_run(machine, given, schema, browser, folder / "unregistered.html", 2, ())
    expect("the filter is not registered", answer["obstacle"], "not-loaded")


def check_run(machine, given, schema, browser, path, expected, arguments):
    """Runs the program and compares its page with its JSON output, which it returns."""
    name = path.stem
    code, output, errors = machine.run(given.program, "--json", "--html", windows_path(path), *arguments)
    expect(f"{name}: errors", errors, b"")
    answer = json.loads(output)
    FAILURES.extend(f"{name}: {error}" for error in json_schema.errors(answer, schema))
    expect(f"{name}: exit code", (code, subject_of(answer)["exitCode"]), (expected,) * 2)
    expect(f"{name}: foreign name", [row["name"] for row in answer["now"]["providers"] if row["clsid"] == FOREIGN],
           [FOREIGN_NAME])
    check_page(name, browser, path, answer, given.pictures)
    return answer


if __name__ == "__main__":
    try:
        main()
    except devtools.BrowserFailure as failure:
        sys.exit(f"check_page: {failure}")
