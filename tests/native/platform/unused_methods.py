#!/usr/bin/env python3
# Copyright (c) 2026 the libquill-wgc authors
# SPDX-License-Identifier: MIT
"""unused_methods.py HEADER...: prints, for each COM interface that the headers declare, a class
that defines all its methods. A call to one of them fails the test that made it, so an object of the
platform defines only the methods that the library uses."""
import pathlib
import re
import sys

DECLARATION = re.compile(
    r"^namespace (?P<namespace>[\w:]+) \{|^\}  // namespace"
    r"|(?:MIDL_INTERFACE\(\"[\w-]+\"\)|^struct)\s+(?P<name>I\w+)\s*:\s*(?:public )?[\w:]*?(?P<base>\w+)"
    r"\s*\{(?P<body>.*?)^\};", re.MULTILINE | re.DOTALL)
METHOD = re.compile(r"virtual ([\w:]+) STDMETHODCALLTYPE\s+(\w+)\((.*?)\) = 0;", re.DOTALL)

print("#pragma once\n#pragma GCC system_header\n")
methods = {"IUnknown": ""}
names = []
for header in map(pathlib.Path, sys.argv[1:]):
    print(f"#include <{header.name}>")
    outer = []
    for match in DECLARATION.finditer(header.read_text()):
        name, base = match["name"], match["base"]
        namespace = "::".join(outer)
        if match["namespace"]:
            outer.append(match["namespace"])
        elif not name:
            outer.pop()
        elif base in methods:
            methods[name] = methods[base] + "".join(
                f'  {result} STDMETHODCALLTYPE {method}({arguments}) override {{\n'
                f'    return fake::Unused<{result}>("{name}::{method}");\n  }}\n'
                for result, method, arguments in METHOD.findall(match["body"]))
            print(f"namespace {namespace} {{" if namespace else "")
            print(f"struct Unused{name} : {name} {{\n{methods[name]}}};")
            print("}" if namespace else "")
            print(f"template <> struct fake::InterfaceBase<{namespace}::{name}> {{\n"
                  f"  using type = {namespace}::Unused{name};\n}};")
            names.append(f'    {{&__uuidof({namespace}::{name}), "{name}"}},')
print("inline constexpr std::pair<const GUID*, const char*> kInterfaceNames[] = {", *names, "};",
      sep="\n")
