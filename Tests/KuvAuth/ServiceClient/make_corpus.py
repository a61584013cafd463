#!/usr/bin/env python3
"""Writes the corpus for the service client tests: random inputs with the results of Python's standard
library. The seed is fixed.

    make_corpus.py FILE

Each line is a kind and the fields of one case in hexadecimal, "-" for an empty field; the last field is
the result.
"""

import base64
import hashlib
import hmac
import random
import sys
import urllib.parse

CASES = {
    "base64": 1000,
    "hex": 1000,
    "percent": 1000,
    "hmac": 300,
    "sha512": 200,
    "header": 200,
    "parameters": 600,
    "signature": 400,
    "json": 150,
}

rng = random.Random(20220717)


def octets(longest, shortest=0):
    return bytes(rng.randrange(256) for _ in range(rng.randint(shortest, longest)))


def token(longest, shortest=0):
    """Bytes that are common in requests, and some that are not."""
    alphabet = b"abcXYZ019-._~ /&=%+?:\xc3\xa4\x00\n"
    return bytes(rng.choice(alphabet) for _ in range(rng.randint(shortest, longest)))


def text(longest):
    """A text without NUL, from all planes of Unicode."""
    ranges = [(0x20, 0x7E), (0x01, 0x1F), (0x7F, 0x7FF), (0x800, 0xD7FF), (0xE000, 0xFFFF), (0x10000, 0x10FFFF)]
    return "".join(chr(rng.randint(*rng.choice(ranges))) for _ in range(rng.randint(0, longest)))


def percent(data):
    return urllib.parse.quote(data, safe="").encode("ascii")


def make_base64():
    data = octets(200, 1)
    return [data, base64.b64encode(data)]


def make_hex():
    data = octets(200, 1)
    return [data, base64.b16encode(data)]


def make_percent():
    data = rng.choice([octets, token])(120)
    return [data, percent(data)]


def make_hmac():
    key, data = octets(200, 1), octets(400)
    return [key, data, hmac.new(key, data, hashlib.sha1).digest()]


def make_sha512():
    data = octets(600)
    return [data, hashlib.sha512(data).digest()]


def make_header():
    key, user, data = octets(80, 1), token(40), token(200)
    digest = hmac.new(key, data, hashlib.sha1).hexdigest().upper().encode("ascii")
    credentials = base64.b64encode(user + b":" + digest)
    return [key, user, data, b"Authorization: Basic " + credentials + b"\r\n"]


def make_parameters():
    """Names are marked "n", values "v" (UTF-16), masked names "m"; the order is shuffled."""
    parameters = {}
    for _ in range(rng.randint(0, 8)):
        parameters[rng.choice([octets, token])(8)] = text(12)
    masked = {percent(name) for name in parameters if rng.random() < 0.15}
    masked.add(percent(token(6)))
    pairs = []
    for name in sorted(parameters):
        encoded = percent(name)
        value = b"#####" if encoded in masked else percent(parameters[name].encode("utf-8"))
        pairs.append(encoded + b"=" + value)
    fields = []
    for name in rng.sample(sorted(parameters), len(parameters)):
        fields += [b"n" + name, b"v" + parameters[name].encode("utf-16-le")]
    fields += [b"m" + name for name in sorted(masked)]
    return fields + [b"&".join(pairs)]


def canonical(fields):
    lines = fields[1:] if not fields[0] else fields
    return b"\n".join(lines)


def some_fields(count):
    return [b"" if rng.random() < 0.2 else token(30) for _ in range(count)]


def make_signature():
    fields = some_fields(5)
    return fields + [canonical(fields)]


def make_json():
    fields, body = some_fields(4), octets(300)
    digest = hashlib.sha512(body).hexdigest().encode("ascii")
    return fields + [body, canonical(fields + [b"", digest])]


def main():
    with open(sys.argv[1], "w", encoding="ascii", newline="\n") as corpus:
        for kind, count in CASES.items():
            make = globals()["make_" + kind]
            for _ in range(count):
                corpus.write(" ".join([kind] + [field.hex() or "-" for field in make()]) + "\n")


if __name__ == "__main__":
    main()
