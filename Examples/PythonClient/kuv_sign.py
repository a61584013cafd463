#!/usr/bin/env python3
"""Signs a request to the second-factor service with Python's standard library alone, and prints its signed parts.

    KUV_IKEY=IDENTIFIER KUV_SKEY=KEY kuv_sign.py METHOD HOST PATH [NAME=VALUE...]
"""
import base64
import email.utils
import hashlib
import hmac
import os
import sys
from urllib.parse import quote


def parameter_text(parameters):
    """Returns the percent-encoded pairs in the order of the bytes of their names, from a dictionary of bytes."""
    return "&".join(f"{quote(name, safe='')}={quote(value, safe='')}" for name, value in sorted(parameters.items()))


def json_text(body):
    """Returns what a request with a JSON body signs in the place of the parameters."""
    return "\n" + hashlib.sha512(body).hexdigest()


def authorization(integration_key, secret_key, text):
    """Returns the value of the Authorization header for the bytes of a text."""
    signature = hmac.new(secret_key, text, hashlib.sha1).hexdigest().upper().encode()
    return "Basic " + base64.b64encode(integration_key + b":" + signature).decode()


if __name__ == "__main__":
    method, host, path, *pairs = sys.argv[1:]
    parameters = parameter_text(dict(pair.encode().split(b"=", 1) for pair in pairs))
    date = email.utils.formatdate(usegmt=True)
    canonical = "\n".join([date, method, host, path, parameters]).encode()
    header = authorization(os.environ["KUV_IKEY"].encode(), os.environ["KUV_SKEY"].encode(), canonical)
    print(f"Date: {date}\nAuthorization: {header}\n\n{parameters}")
