"""The tables of fields in Docs/FilterCheck.md, generated from the two schemas."""
import json


def type_text(field):
    if "$ref" in field:
        name = field["$ref"].rpartition("/")[2]
        return f"[{name}](#{name.lower()})"
    if "anyOf" in field:
        return " or ".join(type_text(choice) for choice in field["anyOf"])
    if "const" in field or "enum" in field:
        return ", ".join(f"`{json.dumps(value)}`" for value in field.get("enum", [field.get("const")]))
    if field["type"] == "array":
        return f"list of {type_text(field['items'])}"
    return field["type"]


def table(title, definition):
    """Returns one section: a heading and a row for each field."""
    rows = [f"| `{name}` | {type_text(field)} | {field['description']} |"
            for name, field in definition["properties"].items()]
    return "\n".join([f"### {title}", "", "| Field | Type | Meaning |", "|---|---|---|", *rows, ""])


def tables(schema, title):
    return "\n".join([table(title, schema), *(table(name, part) for name, part in schema["$defs"].items())])
