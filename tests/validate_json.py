#!/usr/bin/env python3
"""Validates JSON documents against a JSON Schema: validate_json.py SCHEMA FILE...

Prints one line per problem (file, path in the document, message) and exits 1
when any document does not validate, 2 when a file cannot be read or parsed."""
import json
import sys

import jsonschema


def main(arguments):
    if len(arguments) < 2:
        print(__doc__, file=sys.stderr)
        return 2
    try:
        with open(arguments[0], encoding="utf-8") as file:
            schema = json.load(file)
        validator_class = jsonschema.validators.validator_for(schema)
        validator_class.check_schema(schema)
        validator = validator_class(schema)
    except (OSError, ValueError, jsonschema.SchemaError) as error:
        print(f"{arguments[0]}: {error}", file=sys.stderr)
        return 2
    status = 0
    for path in arguments[1:]:
        try:
            with open(path, encoding="utf-8") as file:
                document = json.load(file)
        except (OSError, ValueError) as error:
            print(f"{path}: {error}")
            return 2
        for error in sorted(validator.iter_errors(document), key=lambda e: list(e.path)):
            location = "/".join(str(part) for part in error.absolute_path)
            print(f"{path}: /{location}: {error.message}")
            status = 1
    return status


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
