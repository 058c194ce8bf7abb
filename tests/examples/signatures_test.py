# Copyright (c) 2026 the libquill-wgc authors
# SPDX-License-Identifier: MIT
"""signatures_test.py HEADER EXAMPLES-FOLDER

The names and types that each language's binding calls the library with are those of the C header, as
clang reads it for 64-bit Windows.

A signature is a list of words: the result's, then the arguments'. A pointer to a number or to a pointer
has the word of what it points to and "*", and one to a function has that function's signature; "pointer"
is any other.
"""
import ctypes
import pathlib
import re
import subprocess
import sys
import unittest

from clang.cindex import CursorKind, Index, TypeKind

HEADER, EXAMPLES = map(pathlib.Path, sys.argv[1:])


def function_word(result, *arguments):
    return f"{result}({', '.join(arguments)})"


def declared_functions():
    # libclang does not look for the compiler's own headers.
    resources = subprocess.check_output(["clang", "-print-resource-dir"], text=True).strip()
    arguments = ["-x", "c", "-std=c11", "--target=x86_64-w64-mingw32", "-resource-dir", resources]
    unit = Index.create().parse(str(HEADER), args=arguments)
    if list(unit.diagnostics):
        raise RuntimeError("\n".join(map(str, unit.diagnostics)))
    return {
        cursor.spelling: prototype(cursor.type)
        for cursor in unit.cursor.get_children()
        if cursor.kind == CursorKind.FUNCTION_DECL and cursor.location.file.name == str(HEADER)
    }


def prototype(function):
    return [word(function.get_result()), *map(word, function.argument_types())]


def word(declared):
    if declared.spelling == "size_t":
        return "size"
    plain = declared.get_canonical()
    if plain.kind != TypeKind.POINTER:
        return {TypeKind.VOID: "void", TypeKind.BOOL: "bool", TypeKind.INT: "int32",
                TypeKind.UINT: "uint32", TypeKind.FLOAT: "float"}[plain.kind]
    target = plain.get_pointee()
    if target.kind == TypeKind.FUNCTIONPROTO:
        # The typedef's own words: the canonical type has no size_t any more.
        written = declared.get_declaration().underlying_typedef_type.get_pointee()
        while written.kind == TypeKind.UNEXPOSED:  # parentheses
            written = written.get_named_type()
        return function_word(*prototype(written))
    if target.kind in (TypeKind.VOID, TypeKind.RECORD):
        return "pointer"
    if target.kind == TypeKind.CHAR_S and target.is_const_qualified():
        return "text"
    return word(target) + "*"


def python(source):
    """quill_wgc.py's FUNCTIONS."""
    module = {"__name__": "quill_wgc", "__file__": str(EXAMPLES / "quill_wgc.py")}
    exec(compile(source, "quill_wgc.py", "exec"), module)
    plain = {None: "void", ctypes.c_bool: "bool", ctypes.c_int: "int32", ctypes.c_uint32: "uint32",
             ctypes.c_float: "float", ctypes.c_size_t: "size", ctypes.c_void_p: "pointer",
             ctypes.c_char_p: "text"}

    def python_word(declared):  # by ctypes' own names
        if hasattr(declared, "_argtypes_"):
            return function_word(*map(python_word, (declared._restype_, *declared._argtypes_)))
        if isinstance(declared, type) and issubclass(declared, ctypes._Pointer):
            return python_word(declared._type_) + "*"
        return plain.get(declared, str(declared))

    return {name: [*map(python_word, types)] for name, types in module["FUNCTIONS"].items()}


def split(arguments):
    return [part.strip() for part in arguments.split(",") if part.strip()]


def csharp(source):
    """QuillWgc.cs's methods marked DllImport and the delegate that one of them takes."""
    marks = r"((?:\[[^]]*\] *)*)"
    method = re.compile(rf"\[DllImport\(Dll\)\] {marks}public static extern (\w+) (\w+)\((.*?)\);",
                        re.DOTALL)
    delegate = re.search(r"delegate (\w+) LogCallback\((.*?)\);", source, re.DOTALL)
    marshalled = {("bool", "U1"): "bool", ("string", "UnmanagedType.LPUTF8Str"): "text"}
    plain = {"void": "void", "int": "int32", "uint": "uint32", "float": "float", "UIntPtr": "size",
             "IntPtr": "pointer", "Session": "pointer"}

    def csharp_word(mark, declared):
        if declared == "LogCallback":
            return function_word(csharp_word("", delegate[1]), *arguments_of(delegate[2]))
        as_type = re.fullmatch(r"\[(?:return: )?MarshalAs\(([\w.]+)\)\] *", mark)
        known = marshalled.get((declared, as_type[1])) if as_type else plain.get(declared)
        return known or f"'{mark}{declared}'"

    def arguments_of(text):
        return [csharp_word(mark, declared) + "*" * bool(out) for mark, out, declared in (
            re.fullmatch(marks + r"(out )?(\w+) \w+", part).groups() for part in split(text))]

    if 'Dll = "libquill-wgc.dll"' not in source or "U1 = UnmanagedType.U1;" not in source:
        raise ValueError("QuillWgc.cs has other constants")
    found = {name: [csharp_word(mark, result), *arguments_of(arguments)]
             for mark, result, name, arguments in method.findall(source)}
    if len(found) != source.count(" extern "):
        raise ValueError("QuillWgc.cs declares functions in another form")
    return found


def javascript(source):
    """quill_wgc.js's PROTOTYPES and the types of koffi's that they name."""
    plain = {"void": "void", "bool": "bool", "int": "int32", "uint32_t": "uint32", "float": "float",
             "size_t": "size", "const char*": "text", "void*": "pointer", "HWND": "pointer",
             "HMONITOR": "pointer", "ID3D11Device*": "pointer"}

    def javascript_word(declared):
        if declared.startswith("_Out_ ") and declared.endswith("*"):
            return javascript_word(declared[len("_Out_ "):-1]) + "*"
        return callbacks.get(declared) or plain.get(declared, f"'{declared}'")

    def parsed(text):
        result, name, arguments = re.fullmatch(r"(.+?) ?(\w+)\((.*)\)", text).groups()
        return name, [javascript_word(result), *(
            javascript_word(re.fullmatch(r"(.+?) ?\w+", part)[1]) for part in split(arguments))]

    callbacks = {}
    for name, types in map(parsed, re.findall(r"koffi\.proto\('(.*?)'\)", source)):
        callbacks[name + "*"] = function_word(*types)
    table = re.search(r"PROTOTYPES = \[(.*?)\];", source, re.DOTALL)[1]
    return dict(map(parsed, re.findall("'(.*?)'", re.sub(r"' \+\s*'", "", table))))


def rust(source):
    """The functions in quill_wgc.rs's library!."""
    plain = {None: "void", "bool": "bool", "i32": "int32", "u32": "uint32", "f32": "float",
             "usize": "size", "*const c_char": "text", "Handle": "pointer"}

    def rust_word(declared):
        callback = re.fullmatch(r'Option<extern "C" fn\((.*)\)>', declared or "")
        if callback:
            return function_word("void", *map(rust_word, split(callback[1])))
        if declared and declared.startswith("*mut "):
            return rust_word(declared[len("*mut "):]) + "*"
        return plain.get(declared, f"'{declared}'")

    def parts(arguments):
        return [arguments] if arguments.startswith("Option") else split(arguments)

    if "type Handle = *mut c_void;" not in source or '$name: unsafe extern "C" fn(' not in source:
        raise ValueError("quill_wgc.rs has other types")
    table = re.search(r"^library! \{$(.*?)^\}$", source, re.DOTALL | re.MULTILINE)[1]
    found = re.findall(r"fn (\w+)\(([^;]*)\)(?: -> (\w+))?;", table)
    if len(found) != table.count(";"):
        raise ValueError("quill_wgc.rs declares functions in another form")
    return {name: [rust_word(result or None), *map(rust_word, parts(arguments))]
            for name, arguments, result in found}


def go(source):
    """The names in quill_wgc.go, with None where there is no call. Go's calls are not typed; so the types
    are those of the arguments, and the result's is what becomes of it."""
    plain = {"int32": "int32", "uint32": "uint32", "uintptr": "size", "*byte": "text", "bool": "bool",
             "unsafe.Pointer": "pointer"}
    variables = {"0": "pointer", "session": "pointer", "target": "pointer", "uintptr(s)": "pointer"}
    declarations = r"(?:var |[(,] )((?:\w+, )*\w+) (uint32|bool|unsafe\.Pointer)\b"
    for names, declared in re.findall(declarations, source):
        for name in split(names):
            variables[f"uintptr(unsafe.Pointer(&{name}))"] = plain[declared] + "*"
    callback, = re.findall(r"logger\s*= syscall\.NewCallbackCDecl\((\w+)\)", source)
    types = re.search(rf"func {callback}\((.*)\) uintptr", source)[1]
    variables["logger"] = function_word("void", *(plain.get(part.split()[-1]) for part in split(types)))

    found = dict.fromkeys(re.search(r"strings\.Fields\(`(.*?)`\)", source, re.DOTALL)[1].split())
    nested = r"((?:[^()]|\((?:[^()]|\([^()]*\))*\))*)"
    if "return result&0xff != 0 }" not in source:
        raise ValueError("quill_wgc.go takes more than a byte for a bool")
    calls = re.findall(rf'(IsTrue\(|, _, _ := |)Functions\[(\w+|"\w+")\]\.Call\({nested}\)', source)
    if len(calls) != source.count("].Call("):
        raise ValueError("quill_wgc.go calls functions in another form")
    results = {"IsTrue(": "bool", ", _, _ := ": "pointer", "": "void"}
    for result, name, arguments in calls:
        types = [results[result], *(variables.get(part, f"'{part}'") for part in split(arguments))]
        # open is given the name.
        names = re.findall(r'open\("(\w+)",', source) if name == "create" else [name.strip('"')]
        for each in names:
            if each not in found:
                raise ValueError(f"quill_wgc.go does not load {each}")
            found[each] = types
    return found


# Each binding, how it is read, and wrong signatures: the text in the binding and what replaces it.
BINDINGS = {
    "quill_wgc.py": (python, [
        ('"wgc_show_border"', '"wgc_hide_border"'),
        ('"wgc_enable_cursor": [B, P, B]', '"wgc_enable_cursor": [B, B, P]'),
        ('"wgc_get_status": [B, P]', '"wgc_get_status": [c_int, P]'),
        ('"wgc_set_dirty_rect": [None, P, B]', '"wgc_set_dirty_rect": [None, P]'),
        ("[c_float, P]", "[None, P]"),
        ("[B, P, POINTER(P), P,", "[B, P, P, P,"),
        ("(None, c_int, c_char_p, c_size_t)", "(None, c_int, c_size_t, c_char_p)"),
    ]),
    "csharp/QuillWgc.cs": (csharp, [
        ("wgc_show_border(\n", "wgc_hide_border(\n"),
        ("wgc_enable_cursor(\n      Session s, [MarshalAs(U1)] bool on",
         "wgc_enable_cursor(\n      [MarshalAs(U1)] bool on, Session s"),
        ("[return: MarshalAs(U1)] public static extern bool wgc_get_status",
         "public static extern bool wgc_get_status"),
        ("wgc_set_dirty_rect(\n      Session s, [MarshalAs(U1)] bool on",
         "wgc_set_dirty_rect(\n      Session s"),
        ("float wgc_get_update_ratio", "void wgc_get_update_ratio"),
        ("Session s, out IntPtr frame, IntPtr reserved", "Session s, IntPtr frame, IntPtr reserved"),
        ("string line,\n                                 UIntPtr length",
         "string line,\n                                 uint length"),
        ("const UnmanagedType U1 = UnmanagedType.U1", "const UnmanagedType U1 = UnmanagedType.Bool"),
    ]),
    "javascript/quill_wgc.js": (javascript, [
        ("wgc_show_border(void* session, bool show)", "wgc_hide_border(void* session, bool show)"),
        ("wgc_enable_cursor(void* session, bool enable)",
         "wgc_enable_cursor(bool enable, void* session)"),
        ("bool wgc_get_status(", "int wgc_get_status("),
        ("wgc_set_dirty_rect(void* session, bool enable)", "wgc_set_dirty_rect(void* session)"),
        ("float wgc_get_update_ratio(", "void wgc_get_update_ratio("),
        ("_Out_ void** frame", "void* frame"),
        ("_Out_ bool* cursor_enabled", "bool* cursor_enabled"),
        ("const char* text, size_t length", "const char* text, uint32_t length"),
    ]),
    "rust/quill_wgc.rs": (rust, [
        ("fn wgc_show_border(", "fn wgc_hide_border("),
        ("fn wgc_enable_cursor(Handle, bool)", "fn wgc_enable_cursor(bool, Handle)"),
        ("fn wgc_get_status(Handle) -> bool", "fn wgc_get_status(Handle) -> i32"),
        ("fn wgc_set_dirty_rect(Handle, bool)", "fn wgc_set_dirty_rect(Handle)"),
        ("fn wgc_get_update_ratio(Handle) -> f32", "fn wgc_get_update_ratio(Handle)"),
        ("wgc_get_recent_frame(Handle, *mut Handle,", "wgc_get_recent_frame(Handle, Handle,"),
        ("fn(i32, *const c_char, usize)", "fn(i32, *const c_char, u32)"),
    ]),
    "go/quillwgc/quill_wgc.go": (go, [
        ("wgc_show_border", "wgc_hide_border"),
        ("(uintptr(s), uintptr(unsafe.Pointer(&data)), 0,",
         "(uintptr(s), 0, uintptr(unsafe.Pointer(&data)),"),
        ('IsTrue(Functions["wgc_session_start"].Call(session))',
         'session, _, _ := Functions["wgc_session_start"].Call(session)'),
        ('["wgc_session_destroy"].Call(uintptr(s))', '["wgc_session_destroy"].Call()'),
        ("width, height uint32)", "width, height uint16)"),
        ("var cursor bool", "var cursor int32"),
        ("result&0xff != 0", "result != 0"),
        ("text *byte, length uintptr", "text *byte, length uint32"),
    ]),
}
DECLARED = declared_functions()


def wrong_signatures(read, source):
    """What a binding declares otherwise than the header, or not at all."""
    found = read(source)
    wrong = [f"{name}: {types}, in the header {DECLARED.get(name)}" for name, types in found.items()
             if name not in DECLARED or types not in (None, DECLARED[name])]
    return wrong + [f"{name} is missing" for name in DECLARED if name not in found]


class Signatures(unittest.TestCase):
    def test_are_those_of_the_header(self):
        for file, (read, _) in BINDINGS.items():
            with self.subTest(file):
                source = (EXAMPLES / file).read_text(encoding="utf-8")
                self.assertEqual(wrong_signatures(read, source), [])

    def test_wrong_ones_are_noticed(self):
        for file, (read, changes) in BINDINGS.items():
            source = (EXAMPLES / file).read_text(encoding="utf-8")
            for old, new in changes:
                with self.subTest(file, old=old, new=new):
                    self.assertEqual(source.count(old), 1)
                    try:
                        self.assertNotEqual(wrong_signatures(read, source.replace(old, new)), [])
                    except ValueError:
                        pass  # the reader noticed it


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
