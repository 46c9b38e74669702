#!/usr/bin/env python3
"""Writes a program that calls every public function of every installed header once: what is declared
must link. The functions are found by reading the headers as a compiler does, so none can be
forgotten; of a class template, each member function is called in one of its instances. The program
is made to be linked, and does nothing when it runs.

    writeCalls.py HEADERS TEMPLATES PROGRAM

TEMPLATES is a source with calls of what is left: function templates. Fails if a template of the
headers is not named there.
"""
import pathlib
import re
import subprocess
import sys
import xml.etree.ElementTree

FUNCTIONS = {"Function", "Method", "Constructor", "OperatorMethod", "OperatorFunction", "Converter",
             "Destructor"}
SCOPES = {"Class", "Struct", "Union", "Namespace"}

HEAD = """
void* volatile anything = nullptr;

template <class Type>
Type&& given() {
    return static_cast<Type&&>(*static_cast<std::remove_reference_t<Type>*>(anything));
}

"""


class Declarations:
    """What headers declare in the namespaces of this system, as castxml reads it."""

    def __init__(self, folder, source, result):
        # Namespaces; of a header for C, its functions.
        names = sorted({found[1] or found[2] for file in folder.rglob("*.h") for found in re.finditer(
            r"^namespace (\w+)|^\w[\w *]*?\b(gmp_\w+)\(", file.read_text(), re.MULTILINE)})
        subprocess.run(["castxml", "--castxml-output=1", "-std=c++20", "-fsized-deallocation",
                        "--castxml-cc-gnu", "(", "clang++-14", "-std=c++20", ")", f"-I{folder}",
                        "--castxml-start", ",".join(names), source, "-o", result], check=True)
        tree = xml.etree.ElementTree.parse(result).getroot()
        self.byId = {element.get("id"): element for element in tree if element.get("id")}
        self.files = {element.get("id") for element in tree.iter("File")
                      if element.get("name").startswith(str(folder))}

    def functions(self):
        """Those that a user may call, each place in the headers once."""
        places = set()
        for element in self.byId.values():
            place = (element.get("location"), element.get("name"))
            if element.tag not in FUNCTIONS or place in places or not self._isPublic(element):
                continue
            if element.get("artificial") or element.get("deleted"):
                continue
            if element.get("file") not in self.files:
                continue
            places.add(place)
            yield element

    def scope(self, element):
        """The full name of what the element is in."""
        names = []
        scope = self.byId.get(element.get("context"))
        while scope is not None and scope.get("name") not in (None, "::"):
            names.append(scope.get("name"))
            scope = self.byId.get(scope.get("context"))
        return "::".join(reversed(names))

    def isAbstract(self, element):
        return self.byId[element.get("context")].get("abstract") is not None

    def type(self, number):
        """The type of that number, as it is written in a program."""
        element = self.byId[number.rstrip("cvr")] if number not in self.byId else self.byId[number]
        if element.tag == "CvQualifiedType":
            return self.type(element.get("type")) + " const"
        if element.tag == "ReferenceType":
            return self.type(element.get("type")) + "&"
        if element.tag == "RValueReferenceType":
            return self.type(element.get("type")) + "&&"
        if element.tag == "PointerType":
            return self._pointer(self.byId[element.get("type")])
        if element.tag in ("ElaboratedType",):
            return self.type(element.get("type"))
        if element.tag == "FundamentalType":
            return element.get("name")
        if element.tag in SCOPES | {"Typedef", "Enumeration"}:
            if element.get("access") in ("private", "protected") and element.tag == "Typedef":
                return self.type(element.get("type"))
            scope = self.scope(element)
            return f"{scope}::{element.get('name')}" if scope else element.get("name")
        raise SystemExit(f"a type of a kind that is not known: {element.tag}")

    def _pointer(self, target):
        if target.tag == "FunctionType":
            arguments = ", ".join(self.type(argument.get("type")) for argument in target)
            return f"std::add_pointer_t<{self.type(target.get('returns'))}({arguments})>"
        return self.type(target.get("id")) + "*"

    def _isPublic(self, element):
        while element is not None and element.get("name") != "::":
            if element.get("access") in ("private", "protected"):
                return False
            element = self.byId.get(element.get("context"))
        return True


def call(declarations, function):
    """A statement that calls it, or nothing for what cannot be called by itself."""
    scope, name = declarations.scope(function), function.get("name")
    arguments = ", ".join(f"given<{declarations.type(argument.get('type'))}>()"
                          for argument in function.iter("Argument"))
    const = " const" if function.get("const") else ""
    if function.tag == "Constructor":
        return None if declarations.isAbstract(function) else f"::new {scope}({arguments})"
    if function.tag == "Destructor":
        return f"std::destroy_at(&given<{scope}&>())"
    if function.tag == "OperatorFunction":
        return f"operator{name}({arguments})"
    if function.tag == "Function":
        return f"{scope}::{name}({arguments})"
    if function.tag == "OperatorMethod":
        name = f"operator {name}"
    if function.tag == "Converter":
        name = f"operator {declarations.type(function.get('returns'))}"
    if function.get("static"):
        return f"{scope}::{name}({arguments})"
    return f"given<{scope}{const}&>().{name}({arguments})"


def functionTemplates(folder):
    """The names of the function templates that are no members of class templates."""
    for file in sorted(folder.rglob("*.h")):
        text = re.sub(r"//.*", "", file.read_text())
        for found in re.finditer(r"^( *)template <[^;{]*?>\n(?: *requires[^\n]*\n)?([^;{]*?)\b"
                                 r"(\w+)\([^;{]*[;{]", text, re.MULTILINE):
            access = re.findall(r"^ +(public|protected|private):", text[:found.start()], re.MULTILINE)
            isHidden = found[1] and access and access[-1] != "public"
            if not isHidden and not re.search(r"\b(class|struct)\b", found[2]):
                yield found[3], file


def main():
    folder, templates, program = (pathlib.Path(word).resolve() for word in sys.argv[1:])
    headers = sorted(str(file.relative_to(folder)) for file in folder.rglob("*.h"))
    includes = "".join(f"#include <{header}>\n" for header in headers)
    source = program.with_suffix(".headers.cpp")
    source.write_text(includes)
    declarations = Declarations(folder, source, program.with_suffix(".xml"))
    calls = [call(declarations, function) for function in declarations.functions()]
    # Each by itself: what follows a function that does not return would be left out.
    functions = "".join(f"void call{number}() {{\n    static_cast<void>({one});\n}}\n"
                        for number, one in enumerate(calls) if one)
    text = templates.read_text()
    program.write_text(f"{includes}#include <memory>\n#include <type_traits>\n{HEAD}{text}\n"
                       f"{functions}\nint main() {{}}\n")
    print(f"{len(headers)} headers, {len(calls)} functions")
    absent = [f"{file}: {name} is not called in {templates.name}"
              for name, file in functionTemplates(folder) if not re.search(rf"\b{name}\b", text)]
    if absent:
        sys.exit("\n".join(absent))


if __name__ == "__main__":
    main()
