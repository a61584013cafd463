#!/usr/bin/env python3
"""Compares the Python example with the corpus, to which the library is compared too, and runs it.

    check_python_client.py EXAMPLE CORPUS
"""
import os
import pathlib
import subprocess
import sys

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "Support"))
from script_module import load_script  # noqa: E402  after the path to it

COUNTS = {"parameters": 600, "json": 150, "header": 200}


def read(path):
    with open(path, encoding="ascii") as corpus:
        for line in corpus:
            kind, *fields = line.split()
            yield kind, [bytes.fromhex(field) if field != "-" else b"" for field in fields]


def parameters_of(fields):
    names = [field[1:] for field in fields if field[:1] == b"n"]
    values = [field[1:].decode("utf-16-le").encode() for field in fields if field[:1] == b"v"]
    return dict(zip(names, values))


def unmasked(example, fields, text):
    """Replaces the masks in the expected text by the values of the example."""
    values = {example.quote(name, safe=""): example.quote(value, safe="")
              for name, value in parameters_of(fields).items()}
    pairs = [pair.split("=") for pair in text.decode().split("&") if pair]
    return "&".join(f"{name}={values[name] if value == '#####' else value}" for name, value in pairs)


def main():
    sys.dont_write_bytecode = True
    path, corpus = sys.argv[1:]
    example = load_script(path)
    counts = dict.fromkeys(COUNTS, 0)
    for kind, (*fields, result) in read(corpus):
        if kind not in COUNTS:
            continue
        counts[kind] += 1
        if kind == "parameters":
            got, expected = example.parameter_text(parameters_of(fields)), unmasked(example, fields, result)
        elif kind == "json":
            got, expected = example.json_text(fields[4]).encode(), result[-129:]
        else:
            key, user, text = fields
            got, expected = f"Authorization: {example.authorization(user, key, text)}\r\n", result.decode()
        if got != expected:
            sys.exit(f"check_python_client: {kind} {counts[kind]}: {got!r} instead of {expected!r}")
    if counts != COUNTS:
        sys.exit(f"check_python_client: {counts} cases instead of {COUNTS}")

    keys = {"KUV_IKEY": "SAMPLECLIENTIDENTIFIER", "KUV_SKEY": "sample-key-that-signs-nothing"}
    arguments = ["POST", "auth.kuv.example", "/v1/auth", "user=Zo\u00eb Smith", "factor=push"]
    process = subprocess.run([sys.executable, path, *arguments], env={**os.environ, **keys}, check=True,
                             stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, universal_newlines=True, timeout=60)
    date_line, header, empty, body = process.stdout.splitlines()
    date = date_line.partition(": ")[2]
    text = "\n".join([date, *arguments[:3], "factor=push&user=Zo%C3%AB%20Smith"])
    expected = example.authorization(keys["KUV_IKEY"].encode(), keys["KUV_SKEY"].encode(), text.encode())
    if (header, empty, body) != ("Authorization: " + expected, "", "factor=push&user=Zo%C3%AB%20Smith"):
        sys.exit(f"check_python_client: the program printed\n{process.stdout}")
    print(f"check_python_client: {sum(counts.values())} cases are equal")


if __name__ == "__main__":
    main()
