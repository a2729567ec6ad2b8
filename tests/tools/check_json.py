#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
# Usage: check_json.py SCHEMA DEFINITION FILE
# Holds a JSON document to a definition of a schema: to the keywords that ours uses, and it may use no others.
import json
import sys

TYPES = {"object": dict, "array": list, "string": str, "boolean": bool, "null": type(None)}
KNOWN = {"description", "type", "required", "properties", "additionalProperties", "items", "anyOf", "$ref"}


def has_type(value, name):
    if name in ("integer", "number"):
        return isinstance(value, int if name == "integer" else (int, float)) and not isinstance(value, bool)
    return isinstance(value, TYPES[name])


def faults(value, rule, root, at):
    """What is wrong with the value at that place, one text each."""
    if set(rule) - KNOWN:
        return [f"{at}: the check does not know {sorted(set(rule) - KNOWN)}"]
    if "$ref" in rule:
        return faults(value, root["$defs"][rule["$ref"].rsplit("/", 1)[1]], root, at)
    if "anyOf" in rule:
        attempts = [faults(value, one, root, at) for one in rule["anyOf"]]
        return [] if [] in attempts else attempts[-1]
    types = rule["type"] if isinstance(rule["type"], list) else [rule["type"]]
    if not any(has_type(value, name) for name in types):
        return [f"{at}: {value!r} is not of type {types}"]
    found = []
    if isinstance(value, list):
        for i, item in enumerate(value):
            found += faults(item, rule["items"], root, f"{at}[{i}]")
    if isinstance(value, dict):
        found += [f"{at}: {name} is missing" for name in rule.get("required", []) if name not in value]
        for name, item in value.items():
            own = rule.get("properties", {}).get(name, rule["additionalProperties"])
            found += [f"{at}: {name} is unknown"] if own is False else faults(item, own, root, f"{at}.{name}")
    return found


with open(sys.argv[1]) as schema, open(sys.argv[3]) as document:
    root = json.load(schema)
    wrong = faults(json.load(document), root["$defs"][sys.argv[2]], root, sys.argv[2])
print("\n".join(wrong))
sys.exit(1 if wrong else 0)
