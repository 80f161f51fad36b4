"""The schemas of the tree. PARLEN_SOURCE: the tree."""

import functools
import json
import os
import pathlib

import jsonschema

SOURCE = pathlib.Path(os.environ["PARLEN_SOURCE"])


@functools.cache
def load(name):
    return json.loads((SOURCE / "schema" / f"{name}.schema.json").read_text())


NAMES = sorted(path.name.split(".")[0] for path in (SOURCE / "schema").glob("*.schema.json"))


@functools.cache
def validator(name):
    """For the lines or files of one kind: event, command, status, vm, scenario, trace."""
    store = {schema["$id"]: schema for schema in map(load, NAMES)}
    resolver = jsonschema.RefResolver.from_schema(load(name), store=store)
    return jsonschema.Draft202012Validator(load(name), resolver=resolver)


def parse(line):
    """As strict as a parent's parser: no NaN, and a member that comes twice is a mistake."""

    def members(pairs):
        if len({key for key, _ in pairs}) != len(pairs):
            raise ValueError(f"a member comes twice: {pairs}")
        return dict(pairs)

    def constant(word):
        raise ValueError(f"{word} is no JSON")

    return json.loads(line, object_pairs_hook=members, parse_constant=constant)


def is_valid(name, line):
    try:
        return validator(name).is_valid(parse(line))
    except ValueError:
        return False
