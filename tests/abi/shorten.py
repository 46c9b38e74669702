"""What programs can depend on, of a description that abidw wrote: shorten.py DESCRIPTION SHORTER

Left out is what no program outside can come to: functions that the library does not show (most are the
inline ones of the standard library, which are the program's own), types that nothing it shows is made
of, and what is inside of the table: a pointer to a part of it is a pointer to something, whatever that
is called from one day to the next. abidiff finds no difference between the two descriptions but that.
"""

import re
import sys
import xml.etree.ElementTree as ElementTree

INSIDE = re.compile(r"\bRouting::Gmp::Tessel::Storage::\w+")
INSIDE_MANGLED = "6Tessel7Storage"
INSIDE_SUBSTITUTED = re.compile(r"S\d*_7Storage")
SCOPES = ("abi-instr", "namespace-decl", "class-decl", "union-decl", "member-type")


def isInside(symbol):
    return INSIDE_MANGLED in symbol or INSIDE_SUBSTITUTED.search(symbol) is not None


def isUnseen(element):
    """Whether an element is a function or a variable that no program can name."""
    if element.tag == "member-template":
        return True
    if element.tag == "elf-symbol":
        return isInside(element.get("name"))
    if element.tag == "member-function":
        return element.get("vtable-offset") is None and isUnseen(element[0])
    symbol = element.get("elf-symbol-id")
    return element.tag == "function-decl" and (symbol is None or isInside(symbol))


def removeUnseen(element):
    for child in list(element):
        if isUnseen(child):
            element.remove(child)
        elif child.tag != "member-function":
            removeUnseen(child)


def hideInside(element, isStorage=False):
    """Gives every part of the table the same name."""
    if isStorage and element.tag == "class-decl":
        element.set("name", "Part")
    elif "name" in element.attrib:
        element.set("name", INSIDE.sub("Routing::Gmp::Tessel::Storage::Part", element.get("name")))
    for child in element:
        hideInside(child, element.tag == "namespace-decl" and element.get("name") == "Storage")


class Description:
    """Finds what can be reached from the functions and variables that a library shows."""

    def __init__(self, root):
        self.root = root
        self.parents = {child: parent for parent in root.iter() for child in parent}
        self.byId = {}
        for element in root.iter():
            if "id" in element.attrib:
                self.byId.setdefault(element.get("id"), []).append(element)
        self.kept = {root}

    def keep(self, element):
        """An element, all that it is made of, and where it stands."""
        work = [element]
        while work:
            one = work.pop()
            if one in self.kept:
                continue
            self.kept.add(one)
            work += [self.parents[one]]
            for name, value in one.attrib.items():
                if name != "id" and name.endswith(("type-id", "def-of-decl-id")):
                    work += self.byId.get(value, [])
            if one.tag in ("class-decl", "union-decl"):
                work += [child for child in one if child.tag != "member-type"]
            elif one.tag not in SCOPES:
                work += list(one)

    def removeOthers(self, element):
        for child in list(element):
            if child in self.kept:
                self.removeOthers(child)
            else:
                element.remove(child)


def main():
    tree = ElementTree.parse(sys.argv[1])
    root = tree.getroot()
    removeUnseen(root)
    hideInside(root)
    description = Description(root)
    for element in list(root.iter()):
        if element.get("elf-symbol-id") or element in root and element.tag != "abi-instr":
            description.keep(element)
    description.removeOthers(root)
    for element in root.iter():
        if len(element) == 0:
            element.text = None
    ElementTree.indent(tree, " ")
    tree.write(sys.argv[2], encoding="unicode")


main()
