#!/usr/bin/env python3
"""What Doxygen has no warning for: constructors without a description, results that nobody tells.

The argument is the Doxyfile of the reference documentation.
"""

import subprocess
import sys
import tempfile
import xml.etree.ElementTree as ElementTree
from pathlib import Path


def is_own_function(member):
    """Overrides take over the description of what they override."""
    return (member.get("kind") == "function" and member.get("prot") == "public" and
            member.find("reimplements") is None and
            not member.findtext("argsstring").endswith("=delete") and
            not member.findtext("name").startswith("~"))


def is_described(member):
    return any("".join(member.find(part).itertext()).strip()
               for part in ("briefdescription", "detaileddescription"))


def gaps(member):
    if not is_described(member):
        yield "has no description"
    result = "".join(member.find("type").itertext()).strip()
    if result not in ("", "void") and not any(
            section.get("kind") == "return" for section in member.iter("simplesect")):
        yield "does not tell its result"


def main():
    doxyfile = Path(sys.argv[1]).read_text()
    found = {}
    with tempfile.TemporaryDirectory() as folder:
        doxyfile += f'\nGENERATE_XML = YES\nGENERATE_HTML = NO\nOUTPUT_DIRECTORY = "{folder}"\n'
        subprocess.run(["doxygen", "-"], input=doxyfile, text=True, check=True)
        for page in Path(folder, "xml").glob("*.xml"):
            for member in ElementTree.parse(page).iter("memberdef"):
                if is_own_function(member):
                    name = member.findtext("definition") + member.findtext("argsstring")
                    found[name] = list(gaps(member))
    for name, missing in sorted(found.items()):
        for gap in missing:
            print(f"{name} {gap}")
    print(f"{len(found)} functions")
    return 0 if len(found) >= 150 and not any(found.values()) else 1


if __name__ == "__main__":
    sys.exit(main())
