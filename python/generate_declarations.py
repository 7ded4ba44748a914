"""Writes the declarations of a cali.h for ctypes: version, constants, records, and the arguments of every export.

    python3 generate_declarations.py include/cali/cali.h > cali/_declarations.py

What it does not understand it refuses, so that no declaration is left out silently.
"""
import re
import sys

SCALARS = {
    "float": "c_float", "double": "c_double", "uint8_t": "c_uint8", "uint16_t": "c_uint16", "uint32_t": "c_uint32",
    "int32_t": "c_int32", "int64_t": "c_int64",
}


def type_of(text: str, records: list[str]) -> str:
    """The ctypes name of a C type; addresses are void pointers, since numpy arrays give theirs as numbers."""
    text = re.sub(r"\b(const|struct)\b", "", text).strip()
    if text.endswith("*"):
        return "c_void_p"
    if text in records:
        return text
    return "ctypes." + SCALARS[text] if text in SCALARS else sys.exit(f"a type that is not known: {text!r}")


def fields_of(body: str, records: list[str]) -> list[tuple[str, str]]:
    fields = []
    for statement in filter(None, map(str.strip, body.split(";"))):
        function = re.fullmatch(r"void \(\*(\w+)\)\(.*\)", statement)
        if function:
            fields.append((function[1], "c_void_p"))
            continue
        declared = re.fullmatch(r"((?:const )?\w+\s*\**)\s*(\w+(?:\[\d+\])?(?:, \w+(?:\[\d+\])?)*)", statement)
        if not declared:
            sys.exit(f"a field that is not understood: {statement!r}")
        for name, count in re.findall(r"(\w+)(?:\[(\d+)\])?", declared[2]):
            kind = type_of(declared[1], records)
            fields.append((name, f"{kind} * {count}" if count else kind))
    return fields


def main() -> None:
    with open(sys.argv[1], encoding="utf-8") as stream:
        source = stream.read()
    version = re.search(r'#define CALI_VERSION_STRING "(.*)"', source)
    text = re.sub(r"/\*.*?\*/", "", source, flags=re.S).split("#include <memory>")[0]
    print('"""cali.h for ctypes: written by generate_declarations.py as the package is built."""')
    print("import ctypes\nfrom ctypes import c_void_p\nfrom typing import Any\n")
    print(f'VERSION = "{version[1]}"' if version else sys.exit("no version"))
    for body in re.findall(r"\benum \{(.*?)\}", text, flags=re.S):
        for name, value in re.findall(r"(\w+) = (\d+)", body):
            print(f"{name} = {value}")
    records: list[str] = []
    for name, body in re.findall(r"typedef struct (\w+) \{(.*?)\} \1;", text, flags=re.S):
        print(f"\n\nclass {name}(ctypes.Structure):\n    _fields_ = [")
        for field, kind in fields_of(body, records):
            print(f'        ("{field}", {kind}),')
        print("    ]")
        records.append(name)
    print("\n\n# Names and types of each export's arguments.\nEXPORTS: dict[str, list[tuple[str, Any]]] = {")
    exports = re.findall(r"CALI_API int32_t (\w+)\((.*?)\);", text, flags=re.S)
    if len(exports) != len(re.findall(r"^CALI_API", text, flags=re.M)):
        sys.exit("a declaration that is not understood")
    for name, arguments in exports:
        print(f'    "{name}": [')
        for argument in " ".join(arguments.split()).split(", "):
            kind, argument_name = re.fullmatch(r"(.*?)(\w+)", argument).groups()
            print(f'        ("{argument_name}", {type_of(kind, records)}),')
        print("    ],")
    print("}")


main()
