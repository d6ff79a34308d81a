#!/usr/bin/env python3
"""Generates a C++ test from the interface definitions. It checks that the C++ headers agree with the type library on every
identifier, slot, signature, record field and enumeration value, and contain no others.

usage: generate_test_from_idl.py KelLanSeek.idl output.cpp
"""

import re
import sys

SYSTEM_TYPES = {"unsigned long": "ULONG", "long": "LONG", "int": "INT"}
UUID = r"uuid\(\s*([0-9A-Fa-f-]{36})\s*\)"


def strip_comments(text):
    return re.sub(r"//[^\n]*|/\*.*?\*/", "", text, flags=re.S)


def cpp_type(text):
    stars = text.count("*")
    name = " ".join(text.replace("*", " ").split())
    return SYSTEM_TYPES.get(name, name) + "*" * stars


def split_list(text):
    """Splits a text at the commas outside brackets and parentheses."""
    parts, depth, start = [], 0, 0
    for position, character in enumerate(text):
        depth += character in "[("
        depth -= character in "])"
        if character == "," and depth == 0:
            parts.append(text[start:position])
            start = position + 1
    return [part.strip() for part in parts + [text[start:]] if part.strip()]


def parse_enums(text):
    for name, body in re.findall(r"typedef\s*\[v1_enum\]\s*enum\s+(\w+)\s*\{(.*?)\}\s*\w+\s*;", text, re.S):
        yield name, [tuple(part.strip() for part in item.split("=")) for item in split_list(body)]


def parse_records(text):
    for name, body in re.findall(r"typedef\s+struct\s+(\w+)\s*\{(.*?)\}\s*\w+\s*;", text, re.S):
        fields = []
        for declaration in filter(None, (part.strip() for part in body.split(";"))):
            kind, field, count = re.fullmatch(r"(.*?)(\w+)\s*(\[\d+\])?", declaration, re.S).groups()
            fields.append((cpp_type(kind), field, count or ""))
        yield name, fields


def parse_parameter(text):
    attributes, declaration = re.fullmatch(r"\[(.*?)\]\s*([^\[\]]*)", text, re.S).groups()
    return cpp_type(re.fullmatch(r"(.*?)\w+", declaration, re.S).group(1))


def parse_interfaces(text):
    pattern = r"\[([^\[\]]*?" + UUID + r"[^\[\]]*?)\]\s*interface\s+(\w+)\s*:\s*(\w+)\s*\{(.*?)\}"
    for _, uuid, name, base, body in re.findall(pattern, text, re.S):
        methods = []
        for method, parameters in re.findall(r"HRESULT\s+(\w+)\s*\((.*?)\)\s*;", body, re.S):
            methods.append((method, [parse_parameter(part) for part in split_list(parameters)]))
        yield name, base, uuid, methods


def guid_literal(uuid):
    first, second, third, fourth, fifth = uuid.split("-")
    rest = ", ".join("0x" + (fourth + fifth)[i : i + 2] for i in range(0, 16, 2))
    return f"GUID{{0x{first}, 0x{second}, 0x{third}, {{{rest}}}}}"


def write_enum(out, name, values):
    out.append(f"TEST(InterfaceDefinitions, Enumeration{name}) {{")
    out.append(f"  static_assert(sizeof({name}) == 4);")
    for value, number in values:
        out.append(f"  static_assert(static_cast<int>({value}) == {number});")
        out.append(f"  static_assert(std::is_same_v<decltype({value}), {name}>);")
    out.append("  // Fails to compile when the header has a value more.")
    out.append(f"  switch ({values[0][0]}) {{")
    out.extend(f"    case {value}:" for value, _ in values)
    out.append("      break;\n  }\n}\n")


def write_record(out, name, fields):
    out.append(f"struct Plain{name} {{")
    out.extend(f"  {kind} {field}{count};" for kind, field, count in fields)
    out.append("};\n")
    out.append(f"TEST(InterfaceDefinitions, Record{name}) {{")
    out.append(f"  static_assert(sizeof({name}) == sizeof(Plain{name}));")
    for kind, field, count in fields:
        out.append(f"  static_assert(std::is_same_v<decltype({name}::{field}), {kind}{count}>);")
        out.append(f"  static_assert(offsetof({name}, {field}) == offsetof(Plain{name}, {field}));")
    names = ", ".join(f"field{index}" for index in range(len(fields)))
    out.append("  // Fails to compile when the header has a field more.")
    out.append(f"  [[maybe_unused]] const auto [{names}] = {name}{{}};")
    out.append("}\n")


def write_interface(out, interface, interfaces):
    name, base, uuid, methods = interface
    slots = 3
    parent = base
    while parent != "IUnknown":
        slots += len(interfaces[parent][3])
        parent = interfaces[parent][1]
    out.append(f"TEST(InterfaceDefinitions, Interface{name}) {{")
    out.append(f"  static_assert(std::is_base_of_v<{base}, {name}>);")
    out.append(f"  EXPECT_TRUE(Same(IID_{name}, {guid_literal(uuid)}));")
    for index, (method, _) in enumerate(methods):
        out.append(f"  EXPECT_EQ(SlotOf(&{name}::{method}), {slots + index}U);")
    out.append("  // Fails to compile when the header has a method more, or with another signature.")
    out.append(f"  static_assert(!std::is_abstract_v<Whole{name}>);")
    out.append("}\n")


def write_whole(out, interface):
    """Writes a class that implements exactly the methods of the interface definitions."""
    name, base, _, methods = interface
    parent = "Unknown" if base == "IUnknown" else f"Methods{base}"
    out.append(f"template <typename Interface>\nclass Methods{name} : public {parent}<Interface> {{\n public:")
    for method, parameters in methods:
        out.append(f"  HRESULT STDMETHODCALLTYPE {method}({', '.join(parameters)}) override {{ return E_NOTIMPL; }}")
    out.append("};")
    out.append(f"using Whole{name} = Methods{name}<{name}>;\n")


PROLOGUE = """\
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

#include <gtest/gtest.h>

#include <kellanseek/KelLanSeek.h>

namespace {

bool Same(const GUID& left, const GUID& right) { return std::memcmp(&left, &right, sizeof left) == 0; }

/// The slot of a virtual method, from the member pointer: it holds the byte offset into the table, plus one.
template <typename Method>
std::size_t SlotOf(Method method) {
  std::uintptr_t words[2] = {};
  static_assert(sizeof method == sizeof words);
  std::memcpy(words, &method, sizeof words);
  return static_cast<std::size_t>(words[0] - 1) / sizeof(void*);
}

template <typename Interface>
class Unknown : public Interface {
 public:
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void**) override { return E_NOINTERFACE; }
  ULONG STDMETHODCALLTYPE AddRef() override { return 1; }
  ULONG STDMETHODCALLTYPE Release() override { return 1; }
};

"""


def main():
    source, target = sys.argv[1:]
    with open(source, encoding="utf-8") as file:
        text = strip_comments(file.read())
    enums = list(parse_enums(text))
    records = list(parse_records(text))
    interfaces = {interface[0]: interface for interface in parse_interfaces(text)}
    coclass = re.search(r"\[\s*" + UUID + r"[^\[\]]*\]\s*coclass\s+(\w+)", text, re.S)
    library = re.search(r"\[\s*" + UUID + r"[^\[\]]*\]\s*library\s+(\w+)", text, re.S)
    declared = len(re.findall(r"\benum\s+\w+\s*\{|\bstruct\s+\w+\s*\{|\binterface\s+\w+\s*:", text))
    if declared != len(enums) + len(records) + len(interfaces):
        sys.exit(f"{source}: some definitions were not understood")

    out = [PROLOGUE]
    for interface in interfaces.values():
        write_whole(out, interface)
    for name, values in enums:
        write_enum(out, name, values)
    for name, fields in records:
        write_record(out, name, fields)
    for interface in interfaces.values():
        write_interface(out, interface, interfaces)
    out.append("TEST(InterfaceDefinitions, ClassAndLibrary) {")
    out.append(f"  EXPECT_TRUE(Same(CLSID_{coclass.group(2)}, {guid_literal(coclass.group(1))}));")
    out.append(f"  EXPECT_TRUE(Same(LIBID_{library.group(2)}, {guid_literal(library.group(1))}));")
    out.append("}\n\n}  // namespace")
    with open(target, "w", encoding="utf-8") as file:
        file.write("\n".join(out) + "\n")


if __name__ == "__main__":
    main()
