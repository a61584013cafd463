"""Finds the places of a C++ source where one small change makes a fault: the operators of Scripts/mutate.py."""
import collections
import re
from typing import NamedTuple

TOKEN = re.compile(
    r"""
    (?P<directive>^[ \t]*\#(?:\\\n|[^\n])*)
    |(?P<comment>//[^\n]*|/\*.*?\*/)
    |(?P<raw>(?:u8|[LuU])?R"(?P<mark>[^(\s]*)\(.*?\)(?P=mark)")
    |(?P<text>(?:u8|[LuU])?"(?:\\.|[^"\\\n])*")
    |(?P<char>(?:u8|[LuU])?'(?:\\.|[^'\\\n])+')
    |(?P<number>\d(?:'?[\w.])*)
    |(?P<name>[A-Za-z_]\w*)
    |(?P<space>\s+)
    |(?P<sign><=>|<<=|>>=|\.\.\.|->\*|::|->|\+\+|--|<<|>>|<=|>=|==|!=|&&|\|\||[-+*/%&|^]=|.)
    """,
    re.VERBOSE | re.MULTILINE | re.DOTALL,
)

COMPARISONS = {
    "==": ["!="],
    "!=": ["=="],
    "<": ["<=", ">="],
    "<=": ["<", ">"],
    ">": [">=", "<="],
    ">=": [">", "<"],
}
LOGIC = {"&&": ["||"], "||": ["&&"]}
ARITHMETIC = {
    "+": ["-"],
    "-": ["+"],
    "*": ["+"],
    "/": ["*"],
    "%": ["/"],
    "&": ["|"],
    "|": ["&"],
    "^": ["|"],
    "<<": [">>"],
    ">>": ["<<"],
    "+=": ["-=", "="],
    "-=": ["+=", "="],
    "*=": ["+="],
    "|=": ["&=", "="],
    "&=": ["|="],
    "^=": ["|="],
}
STEPS = {"++": "--", "--": "++"}
OPPOSITES = {
    "min": "max",
    "max": "min",
    "begin": "end",
    "S_OK": "E_FAIL",
    "S_FALSE": "S_OK",
    "E_NOTIMPL": "S_OK",
    "E_INVALIDARG": "E_FAIL",
    "E_POINTER": "E_FAIL",
    "E_OUTOFMEMORY": "E_FAIL",
    "E_NOINTERFACE": "E_FAIL",
    "CLASS_E_NOAGGREGATION": "E_FAIL",
    "CLASS_E_CLASSNOTAVAILABLE": "E_FAIL",
    "SELFREG_E_CLASS": "E_FAIL",
    "TRUE": "FALSE",
    "FALSE": "TRUE",
    "HKEY_LOCAL_MACHINE": "HKEY_CURRENT_USER",
    "HKEY_CLASSES_ROOT": "HKEY_CURRENT_USER",
    "REG_SZ": "REG_EXPAND_SZ",
    "REG_DWORD": "REG_QWORD",
    "REG_QWORD": "REG_DWORD",
    "REG_BINARY": "REG_SZ",
    "KEY_READ": "KEY_ALL_ACCESS",
    "KEY_QUERY_VALUE": "KEY_READ",
    "KEY_WRITE": "KEY_READ",
    "KEY_SET_VALUE": "KEY_QUERY_VALUE",
    "GENERIC_READ": "GENERIC_WRITE",
    "GENERIC_WRITE": "GENERIC_READ",
    "OPEN_ALWAYS": "CREATE_ALWAYS",
    "OPEN_EXISTING": "OPEN_ALWAYS",
    "INVALID_HANDLE_VALUE": "nullptr",
    "CPUS_LOGON": "CPUS_UNLOCK_WORKSTATION",
    "CPUS_UNLOCK_WORKSTATION": "CPUS_LOGON",
    "CPUS_CREDUI": "CPUS_LOGON",
    "CPUS_CHANGE_PASSWORD": "CPUS_CREDUI",
    "CPUS_PLAP": "CPUS_CREDUI",
}
LEVELS = ["Trace", "Debug", "Info", "Warning", "Error", "Critical"]
NOT_A_STATEMENT = set(
    """alignas auto case class const constexpr constinit default delete do else enum explicit extern for friend goto
    if inline namespace operator private protected public return static struct switch template throw try typedef
    typename union using virtual volatile while static_assert catch break continue""".split()
)
ASSIGNMENTS = {"=", "+=", "-=", "*=", "/=", "|=", "&=", "^=", "<<=", ">>=", "++", "--"}
OPENING = {"(": ")", "[": "]", "{": "}"}
# How often a kind is drawn. Kinds with many places would displace the others if places were drawn.
WEIGHTS = {
    "comparison": 3,
    "logic": 2,
    "arithmetic": 3,
    "number": 3,
    "character": 1,
    "text": 1,
    "boolean": 2,
    "call": 4,
    "assignment": 3,
    "guard": 4,
    "return": 3,
    "jump": 1,
    "flag": 3,
    "level": 1,
}


class Fault(NamedTuple):
    """One change of one file: the text between two offsets is replaced. The key names it whatever its line number."""

    kind: str
    start: int
    end: int
    replacement: str
    key: tuple

    @property
    def file(self):
        return self.key[0]

    def applied(self, source):
        return changed(source, self.start, self.end, self.replacement)


class Token(NamedTuple):
    kind: str
    text: str
    start: int
    end: int


def one_line(text):
    return " ".join(text.split())


def changed(source, start, end, replacement):
    return source[:start] + replacement + source[end:]


def key_of(file, source, start, end, replacement):
    """Returns the file, the head of the function or class, and the changed lines before and after the change."""
    first = source.rfind("\n", 0, start) + 1
    last = source.find("\n", end)
    last = len(source) if last < 0 else last
    after = changed(source, start, end, replacement)[first: last + len(replacement) - (end - start)]
    heads = re.findall(r"^(?!public:|private:|protected:|namespace )[A-Za-z][^\n]*", source[:first], re.MULTILINE)
    return file, one_line(heads[-1]) if heads else "", one_line(source[first:last]), one_line(after)


def tokens_of(source):
    return [Token(match.lastgroup if match.lastgroup != "mark" else "raw", match.group(), *match.span())
            for match in TOKEN.finditer(source)]


def matching(tokens, index):
    """Returns the index of the bracket that closes the one at `index`, or None."""
    depth = 0
    for i in range(index, len(tokens)):
        if tokens[i].kind != "sign":
            continue
        if tokens[i].text in OPENING:
            depth += 1
        elif tokens[i].text in OPENING.values():
            depth -= 1
            if depth == 0:
                return i
    return None


def ignored_ranges(tokens):
    """Returns the ranges of tokens that state types or facts instead of doing something."""
    ranges = []
    for i, token in enumerate(tokens):
        if token.kind != "name" or i + 1 >= len(tokens):
            continue
        if token.text == "static_assert":
            ranges.append((i, matching(tokens, i + 1) or i))
        elif token.text == "using" or (token.text == "extern" and tokens[i + 1].kind == "text"):
            end = i
            while end < len(tokens) and tokens[end].text not in (";", "{"):
                end += 1
            ranges.append((i, end))
        elif token.text == "template" and tokens[i + 1].text == "<":
            depth, end = 0, i + 1
            while end < len(tokens):
                depth += {"<": 1, ">": -1, ">>": -2}.get(tokens[end].text, 0)
                if depth <= 0:
                    break
                end += 1
            ranges.append((i, end))
    return ranges


def changed_number(text):
    match = re.fullmatch(r"(0[xX][0-9a-fA-F']+|[0-9']+)([uUlLzZ]*)", text)
    if not match:
        return []
    digits, suffix = match.group(1).replace("'", ""), match.group(2)
    if digits[:2] in ("0x", "0X"):
        value, form = int(digits, 16), "0x{:X}"
    else:
        value, form = int(digits, 8 if len(digits) > 1 and digits[0] == "0" else 10), "{}"
    changes = [value + 1] + ([value - 1] if value > 0 else [])
    return [form.format(change) + suffix for change in changes]


def changed_text(text):
    """Returns the literal with another letter and without its content. Conversions of a format stay as they are, so
    that the fault is in the text only."""
    quote = text.index('"') + 1
    conversion = r"%[-+ #0]*\d*(?:\.\d+)?(?:ll|l|h|z|I64)?[a-zA-Z%]|\\."
    content = re.sub(conversion, lambda match: "%" * len(match.group()), text[quote:-1])
    letters = [i for i, character in enumerate(content) if character.isalnum() and character.isascii()]
    if not letters:
        return []
    place = quote + letters[len(letters) // 2]
    other = "x" if text[place] not in "xX" else "y"
    return [text[:place] + other + text[place + 1:]] + ([text[:quote] + '"'] if "%" not in content else [])


def changed_character(text):
    quote = text.index("'") + 1
    content = text[quote:-1]
    if content == r"\0":
        return [text[:quote] + r"\1'"]
    if len(content) != 1:
        return [text[:quote] + " '"]
    return [text[:quote] + ("b" if content == "a" else "a") + "'"]


def is_spaced(source, token):
    return source[token.start - 1: token.start].isspace() and source[token.end: token.end + 1].isspace()


def token_changes(source, tokens, i):
    """Yields (kind, replacement) for a change of a single token."""
    token, text = tokens[i], tokens[i].text
    before = tokens[i - 1].text if i else ""
    after = tokens[i + 1].text if i + 1 < len(tokens) else ""
    if token.kind == "number":
        yield from (("number", change) for change in changed_number(text))
    elif token.kind == "char":
        yield from (("character", change) for change in changed_character(text))
    elif token.kind == "text":
        yield from (("text", change) for change in changed_text(text))
    elif token.kind == "sign":
        if text in STEPS:
            yield "arithmetic", STEPS[text]
        elif text == "!":
            yield "logic", ""
        elif is_spaced(source, token) and before != "operator":
            for kind, table in (("comparison", COMPARISONS), ("logic", LOGIC), ("arithmetic", ARITHMETIC)):
                yield from ((kind, change) for change in table.get(text, []))
    elif text in ("true", "false"):
        yield "boolean", "false" if text == "true" else "true"
    elif before == "::" and i >= 2 and tokens[i - 2].text == "LogLevel" and text in LEVELS:
        place = LEVELS.index(text)
        yield from (("level", LEVELS[other]) for other in (place - 1, place + 1) if 0 <= other < len(LEVELS))
    elif text in OPPOSITES:
        if (after == "(") == text.islower() and before != "operator":
            yield "flag" if text.isupper() else "comparison", OPPOSITES[text]
    elif re.fullmatch(r"[A-Z][A-Z0-9]*(_[A-Z0-9]+)+", text) and after != "(" and not text.startswith("KUV_"):
        yield "flag", "0"
        yield "flag", f"({text} + 1)"


def is_condition(tokens, index):
    """Tests whether the bracket at `index` closes the condition of a statement."""
    depth = 0
    for i in range(index, -1, -1):
        depth += {")": 1, "(": -1}.get(tokens[i].text, 0)
        if depth == 0:
            word = tokens[i - 1].text if i else ""
            if word == "constexpr":
                word = tokens[i - 2].text
            return word in ("if", "while", "for")
    return False


def statement_kind(tokens, i):
    """Returns "call" or "assignment" and the index of the semicolon if a statement that can be deleted begins there."""
    first = tokens[i]
    if first.text in NOT_A_STATEMENT or not (first.kind == "name" or first.text in ("::", "*", "++", "--", "(")):
        return None
    previous = tokens[i - 1].text if i else ";"
    if previous not in (";", "{", "}", "else") and not (previous == ")" and is_condition(tokens, i - 1)):
        return None
    depth, end, call, assignment = 0, i, False, False
    while end < len(tokens):
        token, text = tokens[end], tokens[end].text
        if depth == 0:
            if text == ";":
                break
            if text in ("{", "}", ")", "?", ":"):
                return None
            assignment = assignment or text in ASSIGNMENTS
            call = call or text == "("
            # Two names in a row, or with what makes a pointer, a reference or a template between them: a declaration.
            if token.kind == "name" and end > i and not call and not assignment:
                if tokens[end - 1].kind == "name" or tokens[end - 1].text in (">", "&", "&&"):
                    return None
                if tokens[end - 1].text == "*" and end - 1 > i:
                    return None
        if token.kind == "sign":
            if text in OPENING:
                depth += 1
            elif text in OPENING.values():
                depth -= 1
        end += 1
    if end >= len(tokens) or tokens[end - 1].text in ("delete", "default") or not (call or assignment):
        return None
    return ("assignment" if assignment else "call"), end


def keep_lines(replacement, source, start, end):
    """Keeps the numbers of the following lines, which the log of a run contains."""
    return replacement + "\n" * source.count("\n", start, end)


def statement_changes(source, tokens, i):
    """Yields (kind, start, end, replacement) for a change of the statement that starts at `i`."""
    token, text = tokens[i], tokens[i].text
    if text in ("if", "while") and i + 1 < len(tokens):
        opening = i + 1 if tokens[i + 1].text == "(" else None
        closing = matching(tokens, opening) if opening else None
        if closing:
            start, end = tokens[opening].end, tokens[closing].start
            condition = source[start:end]
            if ";" not in condition:
                yield "guard", start, end, f"false && ({condition})"
                if text == "if":
                    yield "guard", start, end, f"true || ({condition})"
    elif text == "return" and i + 1 < len(tokens):
        end = i + 1
        depth = 0
        while end < len(tokens) and (depth or tokens[end].text != ";"):
            depth += (tokens[end].text in OPENING) - (tokens[end].text in OPENING.values())
            end += 1
        if end < len(tokens):
            value = source[token.end: tokens[end].start].strip()
            if value == "":
                yield "jump", token.start, tokens[end].end, "{}"
            elif value not in ("{}", "0", "true", "false", "nullptr", "std::nullopt", "*this"):
                last = tokens[end].end
                yield "return", token.start, last, keep_lines("return {};", source, token.start, last)
    elif text in ("break", "continue") and i + 1 < len(tokens) and tokens[i + 1].text == ";":
        yield "jump", token.start, tokens[i + 1].end, "{}"
    else:
        found = statement_kind(tokens, i)
        if found:
            kind, end = found
            yield kind, token.start, tokens[end].end, keep_lines("{}", source, token.start, tokens[end].end)


def faults_of(file, source):
    """Returns the faults that can be planted in a file. Not all of them compile."""
    tokens = [token for token in tokens_of(source) if token.kind not in ("space", "comment", "directive")]
    ignored = set()
    for first, last in ignored_ranges(tokens):
        ignored.update(range(first, last + 1))
    changes = []
    for i, token in enumerate(tokens):
        if i not in ignored:
            changes += [(kind, token.start, token.end, text) for kind, text in token_changes(source, tokens, i)]
            changes += statement_changes(source, tokens, i)
    faults, occurrences = [], collections.Counter()
    for kind, start, end, text in changes:
        key = key_of(file, source, start, end, text)
        occurrences[key] += 1
        if occurrences[key] > 1:
            key = (key[0], f"{key[1]} ({occurrences[key]})", *key[2:])
        faults.append(Fault(kind, start, end, text, key))
    return faults


def drawn(faults, random):
    """Yields all faults in an order that `random` determines: first a kind, then one of its faults."""
    pools = {}
    for fault in faults:
        pools.setdefault(fault.kind, []).append(fault)
    for kind in sorted(pools):
        random.shuffle(pools[kind])
    while pools:
        kinds = sorted(pools)
        kind = random.choices(kinds, [WEIGHTS[kind] for kind in kinds])[0]
        yield pools[kind].pop()
        if not pools[kind]:
            del pools[kind]
