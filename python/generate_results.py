"""Writes the dataclasses of results.json from its schema.

    python3 generate_results.py docs/results.schema.json > cali/_results_types.py

A record is named after the keys that lead to it, or after its definition. Lists of numbers are numpy arrays. What it
does not understand it refuses.
"""
import json
import re
import sys
import textwrap
from typing import Any

Node = dict[str, Any]

CHANNELS = {"rr", "gr", "gb", "bb", "y", "red", "green", "blue", "infrared"}
IMPORTS = """import numpy as np
from dataclasses import dataclass
from numpy.typing import NDArray
from typing import Literal, Optional"""


class Generator:
    def __init__(self, schema: Node) -> None:
        self.definitions: dict[str, Node] = schema["$defs"]
        self.classes: dict[str, str] = {}

    def array(self, node: Node) -> str | None:
        """The element type of numbers in lists of lists, where it is that."""
        while "items" in node or "$ref" in node:
            node = self.resolved(node["items"] if "items" in node else node)
        kind = node.get("type")
        return "np.int64" if kind == "integer" else "np.float64" if kind in ("number", ["number", "null"]) else None

    def resolved(self, node: Node) -> Node:
        return self.definitions[node["$ref"].rpartition("/")[2]] if "$ref" in node else node

    def type_of(self, node: Node, name: str) -> str:
        if "$ref" in node:
            definition = node["$ref"].rpartition("/")[2]
            return self.type_of(self.definitions[definition], camel(definition))
        if "enum" in node:
            return f"Literal[{', '.join(map(repr, node['enum']))}]"
        kind = "integer" if "const" in node else node.get("type")
        if kind == "array":
            number = self.array(node)
            return f"NDArray[{number}]" if number else f"list[{self.type_of(node['items'], singular(name))}]"
        if kind == "object":
            if isinstance(node.get("additionalProperties"), dict):
                return f"dict[str, {self.type_of(node['additionalProperties'], singular(name))}]"
            self.add(node, name)
            return name
        scalars = {"integer": "int", "number": "float", "string": "str", "boolean": "bool"}
        if kind == ["number", "null"]:
            return "float"
        if not isinstance(kind, str) or kind not in scalars:
            sys.exit(f"{name}: a type that is not known: {kind!r}")
        return scalars[kind]

    def add(self, node: Node, name: str) -> None:
        required = node.get("required", [])
        ordered = sorted(node["properties"].items(), key=lambda item: item[0] not in required)
        lines = [f"@dataclass(frozen=True, eq=False)\nclass {name}:"]
        if "description" in node:
            lines.append(docstring(node["description"]) + "\n")
        conditional = node.get("then", {}).get("properties", {})  # what one form tells more of an array
        for key, each in ordered:
            each = conditional.get(key, {}) | each
            if key in CHANNELS:
                each.pop("description", None)  # of the colour; the record is the same for all
            inner = singular(name) if key in CHANNELS else camel(key) if name == "Results" else name + camel(key)
            kind = self.type_of(each, inner)
            lines.append(f"    {key}: {kind}" if key in required else f"    {key}: Optional[{kind}] = None")
            described = each.get("description") or self.resolved(each).get("description")
            if described:
                lines.append(docstring(described))
        body = "\n".join(lines)
        if self.classes.setdefault(name, body) != body:
            sys.exit(f"{name}: two records of that name differ")


def camel(key: str) -> str:
    return "".join(part.capitalize() for part in key.split("_"))


def singular(name: str) -> str:
    return re.sub(r"(?<!s)s$", "", name)


def docstring(text: str) -> str:
    return textwrap.indent("\n".join(textwrap.wrap(f'"""{text}"""', 112)), "    ")


def main() -> None:
    with open(sys.argv[1], encoding="utf-8") as stream:
        schema = json.load(stream)
    generator = Generator(schema)
    generator.add(schema, "Results")
    print('"""Records of results.json: written by generate_results.py as the package is built."""')
    print(f"{IMPORTS}\n\nSCHEMA = {schema['properties']['schema']['const']}")
    for body in generator.classes.values():
        print(f"\n\n{body}")


main()
