"""The commands of the pages that a test runs, marked by a comment that names the test."""
import re


def marked_blocks(text, test):
    """Returns the options of the mark and the lines of each block of a page that names this test."""
    return [(options, lines.splitlines()) for options, lines in re.findall(
        rf"^<!-- run: {re.escape(test)}(.*?) -->\n```\w+\n(.*?)^```$", text, re.MULTILINE | re.DOTALL)]


def marked_lines(docs, test):
    """Returns the page and each line of the blocks of all pages that name this test."""
    return {(page.name, line) for page in docs.glob("*.md")
            for _, lines in marked_blocks(page.read_text(encoding="utf-8"), test) for line in lines}
