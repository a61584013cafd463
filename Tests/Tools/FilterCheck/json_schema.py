"""Validates a JSON value against a JSON Schema. Supports type, const, enum, properties, required, additionalProperties,
items, anyOf and references within the schema. Any other keyword is an error."""

TYPES = {"object": dict, "array": list, "string": str, "boolean": bool, "null": type(None), "integer": int}
KNOWN = {"type", "const", "enum", "properties", "required", "additionalProperties", "items", "anyOf", "$ref",
         "$defs", "$schema", "title", "description"}


def errors(value, schema, root=None, where="$"):
    """Returns the errors as texts."""
    root = root or schema
    if set(schema) - KNOWN:
        raise ValueError(f"unknown keywords {set(schema) - KNOWN}")
    if "$ref" in schema:
        target = root
        for step in schema["$ref"].removeprefix("#/").split("/"):
            target = target[step]
        return errors(value, target, root, where)
    if "anyOf" in schema and all(errors(value, choice, root, where) for choice in schema["anyOf"]):
        return [f"{where}: {value!r} is none of the choices"]
    if "const" in schema and value != schema["const"]:
        return [f"{where}: {value!r} is not {schema['const']!r}"]
    if "enum" in schema and value not in schema["enum"]:
        return [f"{where}: {value!r} is none of {schema['enum']}"]
    expected = TYPES.get(schema.get("type"))
    if expected and (not isinstance(value, expected) or (expected is int and isinstance(value, bool))):
        return [f"{where}: {value!r} is not of type {schema['type']}"]
    found = []
    if isinstance(value, dict):
        properties = schema.get("properties", {})
        found += [f"{where}: {name} is missing" for name in schema.get("required", []) if name not in value]
        if schema.get("additionalProperties") is False:
            found += [f"{where}: {name} is not in the schema" for name in value if name not in properties]
        for name in value.keys() & properties.keys():
            found += errors(value[name], properties[name], root, f"{where}.{name}")
    if isinstance(value, list):
        for index, item in enumerate(value):
            found += errors(item, schema.get("items", {}), root, f"{where}[{index}]")
    return found
