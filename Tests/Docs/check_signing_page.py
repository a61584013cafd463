#!/usr/bin/env python3
"""Computes every value on the page about signing by hand from the request at its top, with Python's standard library
alone, and compares them.

    check_signing_page.py PAGE
"""
import base64
import datetime
import email.utils
import hashlib
import hmac
import re
import sys
import urllib.parse


def dump(data):
    lines = []
    for offset in range(0, len(data), 16):
        row = data[offset:offset + 16]
        shown = "".join(chr(byte) if 0x20 <= byte < 0x7F else "." for byte in row)
        lines.append(f"{offset:04x}  {row.hex(' '):47}  {shown}")
    return "\n".join(lines)


def credentials(user, key, text):
    return user + ":" + hmac.new(key, text.encode(), hashlib.sha1).hexdigest().upper()


def authorization(user, key, text):
    return "Authorization: Basic " + base64.b64encode(credentials(user, key, text).encode()).decode()


def times(request, block, limit):
    """Computes the lines of a block again from the times at their beginnings."""
    lines = []
    for line in block.splitlines():
        time = datetime.datetime.strptime(line[:29], "%a, %d %b %Y %H:%M:%S GMT")
        date = email.utils.format_datetime(time.replace(tzinfo=datetime.timezone.utc), usegmt=True)
        seconds = int((time - datetime.datetime.strptime(request["Date"], "%a, %d %b %Y %H:%M:%S GMT")).total_seconds())
        lines.append(f"{date} {seconds:5} seconds  {'accepted' if abs(seconds) <= limit else 'rejected'}")
    return "\n".join(lines)


def expected(request, values, body, long_key):
    def join(masked):
        pairs = []
        for name, value in sorted(values.items()):
            shown = "#####" if name in masked else urllib.parse.quote(value, safe="")
            pairs.append(urllib.parse.quote(name, safe="") + "=" + shown)
        return "&".join(pairs)

    user, key = request["IKey"], request["SKey"].encode()
    fields = [request[name] for name in ("Date", "Method", "Host", "Path")]
    text = "\n".join([*fields, join(())])
    json_text = "\n".join([*fields, "", hashlib.sha512(body.encode()).hexdigest()])
    block = key.ljust(64, b"\0")
    inner_key, outer_key = (bytes(byte ^ pad for byte in block) for pad in (0x36, 0x5C))
    inner_digest = hashlib.sha1(inner_key + text.encode()).digest()
    return {
        "value bytes": dump(values["user"].encode()),
        "parameters": join(()),
        "masked parameters": join(("user",)),
        "text": text,
        "text bytes": dump(text.encode()),
        "inner key": dump(inner_key),
        "outer key": dump(outer_key),
        "inner digest": inner_digest.hex(),
        "long key digest": hashlib.sha1(long_key).hexdigest(),
        # By the rule on the page, not by the library, which applies it too.
        "long key hmac": hmac.new(hashlib.sha1(long_key).digest() + bytes(44), text.encode(), hashlib.sha1).hexdigest(),
        "hmac": hmac.new(key, text.encode(), hashlib.sha1).hexdigest(),
        "credentials": credentials(user, key, text),
        "headers": f"Date: {request['Date']}\n" + authorization(user, key, text),
        "json text": json_text,
        "json header": authorization(user, key, json_text),
    }


def main():
    with open(sys.argv[1], encoding="utf-8") as file:
        page = file.read()
    blocks = dict(re.findall(r"^<!-- ([a-z ]+) -->\n```text\n(.*?)\n```$", page, re.MULTILINE | re.DOTALL))
    request = dict(re.split(r": +", line) for line in blocks.pop("request").splitlines())
    values = dict(line.split("=") for line in blocks.pop("values").splitlines())
    long_key = blocks.pop("long key").encode()
    made = expected(request, values, blocks.pop("json body"), long_key)
    made["times"] = times(request, blocks["times"], 300)
    failures = [f"{name}:\n{blocks.get(name)}\ninstead of\n{value}"
                for name, value in made.items() if blocks.get(name) != value]
    failures += [f"{name}: there is no value to compare it with" for name in blocks.keys() - made.keys()]
    if f"These are its {len(made['text'].encode())} bytes:" not in page:
        failures.append("the number of bytes")
    if len(long_key) <= 64 or f"this key of {len(long_key)} bytes" not in page:
        failures.append("the length of the long key")
    if made["times"].count("accepted") < 3 or made["times"].count("rejected") < 3:
        failures.append("the times")
    if page.count("```") != 2 * (len(made) + 5):
        failures.append("a block without a name")
    if failures:
        sys.exit("check_signing_page: " + "\ncheck_signing_page: ".join(failures))
    print(f"check_signing_page: {len(made)} values are correct")


if __name__ == "__main__":
    main()
