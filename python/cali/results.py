"""results.json as records. `Results` is the file; every field has its unit beside it."""
from __future__ import annotations

import dataclasses
import json
import math
import os
from typing import Any, Literal, Union, get_args, get_origin, get_type_hints

import numpy as np

from ._results_types import *  # noqa: F403
from ._results_types import SCHEMA, Results as Results


def read_results(path: str | os.PathLike[str]) -> Results:
    """Reads a results.json. What is absent is None, what is not finite (null in the file) is NaN.

    ValueError names the file, the key, what was found and what was expected; a file of another layout is refused.
    """
    name = os.fspath(path)
    with open(path, encoding="utf-8") as stream:
        try:
            content = json.load(stream)
        except ValueError as error:
            raise ValueError(f"{name}: no JSON: {error}") from None
    if not isinstance(content, dict) or "schema" not in content:
        raise ValueError(f"{name}: no results: it has no key \"schema\"")
    if content["schema"] != SCHEMA:
        raise ValueError(f"{name}: schema is {content['schema']!r}, expected {SCHEMA}")
    results = _value(content, Results, name + ": ")
    assert isinstance(results, Results)
    return results


def _value(found: Any, kind: Any, place: str) -> Any:
    if dataclasses.is_dataclass(kind):
        return _record(found, kind, place)
    origin, inner = get_origin(kind), get_args(kind)
    if origin is Literal:
        if found not in inner:
            raise _unexpected(found, place, " or ".join(map(repr, inner)))
        return found
    if origin is Union:  # what may be absent
        return _value(found, inner[0], place)
    if origin is list:
        return [_value(each, inner[0], f"{place}[{i}]") for i, each in enumerate(_of(found, list, place, "a list"))]
    if origin is dict:
        items = _of(found, dict, place, "an object").items()
        return {key: _value(each, inner[1], f"{place}.{key}") for key, each in items}
    if origin is np.ndarray:
        return _numbers(found, get_args(inner[1])[0], place)
    if kind is float:
        return math.nan if found is None else float(_of(found, (int, float), place, "a number"))
    names = {int: "a whole number", str: "a text", bool: "true or false"}
    return _of(found, kind, place, names[kind])


def _of(found: Any, kind: Any, place: str, expected: str) -> Any:
    if not isinstance(found, kind) or (isinstance(found, bool) and kind is not bool):
        raise _unexpected(found, place, expected)
    return found


def _record(found: Any, kind: Any, place: str) -> Any:
    given = dict(_of(found, dict, place, "an object"))
    hints = get_type_hints(kind)
    values = {}
    for field in dataclasses.fields(kind):
        key = f"{place}{'' if place.endswith(' ') else '.'}{field.name}"
        if field.name in given:
            values[field.name] = _value(given.pop(field.name), hints[field.name], key)
        elif field.default is dataclasses.MISSING:
            raise ValueError(f"{key} is missing")
    if given:
        raise ValueError(f"{place} has the key {next(iter(given))!r}, which this version does not know")
    return kind(**values)


def _numbers(found: Any, dtype: Any, place: str) -> Any:
    expected = "whole numbers" if dtype is np.int64 else "numbers"
    if not isinstance(found, list):
        raise _unexpected(found, place, expected)
    try:
        array = np.array(found, None if dtype is np.int64 else np.float64)  # null is NaN
    except (TypeError, ValueError, OverflowError):
        raise _unexpected(found, place, expected + " in rows of one length") from None
    if array.size and array.dtype.kind not in ("i" if dtype is np.int64 else "f"):
        raise _unexpected(found, place, expected)
    return array.astype(dtype, copy=False)


def _unexpected(found: Any, place: str, expected: str) -> ValueError:
    text = repr(found)
    return ValueError(f"{place} is {text if len(text) <= 60 else text[:57] + '...'}, expected {expected}")
