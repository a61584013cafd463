"""Compares the page of a tool with its help text."""
import re


def options_of_help(source):
    """Returns the options that a help text lists. The source is that of the options of a tool."""
    return set(re.findall(r"^  (--[a-z-]+)", source, re.MULTILINE))


def check_options_and_exit_codes(test, page, source, accepted):
    """Fails the test unless the page, the help text in the source, and the options `accepted` elsewhere agree."""
    options = options_of_help(source)
    test.assertEqual(set(re.findall(r"^\| `(--[a-z-]+)", page, re.MULTILINE)), options)
    test.assertEqual(options, {*accepted, *re.findall(r'\{L"(--[a-z-]+)"', source)})
    codes = re.findall(r"^  (\d)  ", source, re.MULTILINE)
    test.assertEqual(re.findall(r"^\| (\d) \|", page, re.MULTILINE), codes)
