#!/usr/bin/env python3
"""Validates JSON documents against a JSON Schema: validate_json.py SCHEMA FILE...

Prints one line per problem (file, path in the document, message) and exits 1 when any
document does not validate; a file that cannot be read or parsed ends it with its error."""
import json
import sys

import jsonschema


def load(path):
    with open(path, encoding="utf-8") as file:
        return json.load(file)


def main(schema_path, *paths):
    schema = load(schema_path)
    validator_class = jsonschema.validators.validator_for(schema)
    validator_class.check_schema(schema)
    validator = validator_class(schema)
    status = 0
    for path in paths:
        for error in sorted(validator.iter_errors(load(path)), key=lambda e: list(e.path)):
            location = "/".join(str(part) for part in error.absolute_path)
            print(f"{path}: /{location}: {error.message}")
            status = 1
    return status


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
