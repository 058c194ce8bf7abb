# Copyright (c) 2026 the libquill-wgc authors
# SPDX-License-Identifier: MIT
"""python_signatures_test.py HEADER EXAMPLES-FOLDER

The names and types that quill_wgc.py calls the library with are those of the C header, as clang
reads it for 64-bit Windows.
"""
import ctypes
import subprocess
import sys
import unittest

from clang.cindex import CursorKind, Index, TypeKind

HEADER, EXAMPLES = sys.argv[1:]
sys.path.insert(0, EXAMPLES)

import quill_wgc  # noqa: E402

PLAIN = {
    TypeKind.VOID: None,
    TypeKind.BOOL: ctypes.c_bool,
    TypeKind.INT: ctypes.c_int,
    TypeKind.UINT: ctypes.c_uint,
    TypeKind.FLOAT: ctypes.c_float,
}


def prototype(function):
    return [in_python(function.get_result()), *map(in_python, function.argument_types())]


def in_python(declared):
    """The ctypes type for a type of the header; a list for a pointer to a function."""
    if declared.spelling == "size_t":  # 8 bytes on both systems, by different names
        return ctypes.c_size_t
    plain = declared.get_canonical()
    if plain.kind != TypeKind.POINTER:
        return PLAIN[plain.kind]
    target = plain.get_pointee()
    if target.kind == TypeKind.FUNCTIONPROTO:
        # The typedef's own words: the canonical type has no size_t any more.
        written = declared.get_declaration().underlying_typedef_type.get_pointee()
        while written.kind == TypeKind.UNEXPOSED:  # parentheses
            written = written.get_named_type()
        return prototype(written)
    if target.kind in (TypeKind.VOID, TypeKind.RECORD):
        return ctypes.c_void_p
    if target.kind == TypeKind.CHAR_S and target.is_const_qualified():
        return ctypes.c_char_p
    return ctypes.POINTER(in_python(target))


def declared_functions():
    # libclang does not look for the compiler's own headers.
    resources = subprocess.check_output(["clang", "-print-resource-dir"], text=True).strip()
    arguments = ["-x", "c", "-std=c11", "--target=x86_64-w64-mingw32", "-resource-dir", resources]
    unit = Index.create().parse(HEADER, args=arguments)
    if list(unit.diagnostics):
        raise RuntimeError("\n".join(map(str, unit.diagnostics)))
    return {
        cursor.spelling: prototype(cursor.type)
        for cursor in unit.cursor.get_children()
        if cursor.kind == CursorKind.FUNCTION_DECL and cursor.spelling in quill_wgc.FUNCTIONS
    }


def spelled_out(types):
    """A callback type as the list of its types."""
    return [
        [t._restype_, *t._argtypes_] if hasattr(t, "_argtypes_") else t  # ctypes' own names
        for t in types
    ]


class Signatures(unittest.TestCase):
    def test_are_those_of_the_header(self):
        declared = declared_functions()
        self.assertTrue(quill_wgc.FUNCTIONS)
        for name, types in quill_wgc.FUNCTIONS.items():
            with self.subTest(name):
                self.assertEqual(spelled_out(types), declared[name])


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
