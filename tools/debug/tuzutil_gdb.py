"""Shows the library's objects in gdb: strings, values, messages, exceptions, references, and the trace destinations.

If this file is in gdb's auto-load folder, where the package installs it, gdb loads it together with libtuzutil.so.
Otherwise, load the file with this command: (gdb) source tuzutil_gdb.py

    null                    a null string                   "text" [shared by 3]    three strings share this buffer
    ""                      a nil string                    "text" [secret]         the text will be wiped
    u"text"                 16-bit text

The command "info tuzutil-traces" lists the trace destinations of the process. The printers call no function of the
program. Therefore they also work for core files.
"""

import struct

import gdb
import gdb.printing
import gdb.types

LONGEST = 200  # the most bytes of a text that are shown


def deref(pointer, name):
    return pointer.cast(gdb.lookup_type(name).pointer()).dereference()


def read(address, size):
    return bytes(gdb.selected_inferior().read_memory(address, size)) if size else b""


def quoted(data, wide):
    if wide:
        text = data[:len(data) & ~1].decode("utf-16-le", "backslashreplace")
    else:
        text = data.decode("utf-8", "backslashreplace")
    shown = text.replace("\\", "\\\\").replace('"', '\\"').replace("\n", "\\n").replace("\r", "\\r").replace("\t", "\\t")
    return ("u" if wide else "") + '"' + "".join(c if c.isprintable() else f"\\x{ord(c):02x}" for c in shown) + '"'


def show_string(value):
    """Shows a TString, or an object of a class that derives from it."""
    return show_buffer(value["fBuffer"])


def show_buffer(pointer):
    if not int(pointer):
        return "null"
    buffer = pointer.dereference()
    count, flags, length = int(buffer["count"]), int(buffer["flags"]), int(buffer["length"])
    data = read(int(pointer) + buffer.type.sizeof, min(length, LONGEST))
    text = quoted(data, flags & 2) + ("..." if length > LONGEST else "")
    notes = (["secret"] if flags & 1 else []) + ([f"shared by {count}"] if count > 1 else [])
    return text + (f" [{', '.join(notes)}]" if notes else "")


class String:
    def __init__(self, value):
        self.value = value

    def to_string(self):
        return show_string(self.value)


KINDS = {0: "nil", 1: "endOfArgs", 2: "integer", 3: "unsignedInteger", 4: "real", 5: "string", 6: "wideString", 7: "date",
         8: "time", 9: "dateTime", 10: "voidPtr", 64: "integer64", 72: "unsignedInteger64", 80: "unshown"}

KEPT = (0x10000005, 0x10000006)  # only in messages; such an argument points to the buffer of a text


def show_value(value):
    """Shows a TagVar."""
    kind, cell = int(value["fType"]), int(value["fCell"]) & 0xFFFFFFFFFFFFFFFF
    raw = struct.pack("<Q", cell)
    if kind == 2:
        return str(struct.unpack("<i", raw[:4])[0])
    if kind == 3:
        return str(struct.unpack("<I", raw[:4])[0]) + "u"
    if kind == 4:
        return repr(struct.unpack("<d", raw)[0])
    if kind in (5, 6):
        return show_string(deref(gdb.Value(cell), "TString")) if cell else "null"
    if kind in KEPT:
        return show_buffer(gdb.Value(cell).cast(gdb.lookup_type("TStringBuffer").pointer()))
    if kind == 64:
        return str(struct.unpack("<q", raw)[0])
    if kind == 72:
        return str(cell) + "u"
    if kind == 10:
        return f"(void *) {cell:#x}"
    if kind in (0, 1, 80):
        return KINDS[kind]
    return f"{KINDS.get(kind, f'kind {kind}')} at {cell:#x}"


class Value:
    def __init__(self, value):
        self.value = value

    def to_string(self):
        return show_value(self.value)


class Message:
    def __init__(self, value):
        self.value = value

    def to_string(self):
        value = self.value
        text = show_string(value["fDefaultText"])
        store = f" in {show_string(value['fStore'])} {int(value['fSet'])}:{int(value['fNumber'])}" \
            if int(value["fStore"]["fBuffer"]) else ""
        arguments = [show_value(argument) for argument in self.arguments()]
        return text + store + (" % (" + ", ".join(arguments) + ")" if arguments else "")

    def arguments(self):
        count = int(self.value["fCount"])
        first = self.value["fArguments"]
        return [(first + i).dereference() for i in range(count)] if int(first) else []


class Problem:
    """A TException: its class, its ID, its texts (the newest first), and its places (the oldest first)."""

    def __init__(self, value):
        if value.type.code in (gdb.TYPE_CODE_REF, gdb.TYPE_CODE_RVALUE_REF):
            value = value.referenced_value()
        self.name = value.dynamic_type.name
        self.value = value.cast(gdb.lookup_type("TException"))

    def to_string(self):
        value = self.value
        texts = [show_string(value["fTexts"][i]) for i in reversed(range(int(value["fTextCount"])))]
        places = []
        for i in range(int(value["fLocationCount"])):
            place = value["fLocations"][i]
            name = place["fFileName"].string() if int(place["fFileName"]) else "?"
            places.append(f"{name}:{int(place['fLineNumber'])}")
        code = int(value["fSystemCode"])
        return f"{self.name} {int(value['fErrorId'])}: " + ", ".join(texts) + \
            (f" at {', '.join(places)}" if places else "") + (f" [system error {code}]" if code else "")


class Reference:
    def __init__(self, value):
        self.target = value["fTarget"]

    def to_string(self):
        return f"reference to {self.target.dynamic_type.target()}" if int(self.target) else "null reference"

    def children(self):
        if int(self.target):
            yield "target", self.target.dereference()


class Category:
    def __init__(self, value):
        self.value = value

    def to_string(self):
        return f"category {show_string(self.value['fName'])}, component {int(self.value['fComponent']):#x}"


def is_exception(kind):
    while kind is not None:
        if kind.name == "TException":
            return True
        bases = [field.type for field in kind.fields() if field.is_base_class]
        kind = next((base for base in bases if base.name != "std::exception" and is_exception(base)), None)
        if kind is not None:
            return True
    return False


class Printers(gdb.printing.RegexpCollectionPrettyPrinter):
    def __init__(self):
        super().__init__("tuzutil")
        self.add_printer("TString", "^(TString|TStringIcmp|TStringAndWipe|TFileName|TTextMessage::StoreID)$", String)
        self.add_printer("TagVar", "^TagVar(VoidPtr)?$", Value)
        self.add_printer("TTextMessage", "^TTextMessage$", Message)
        self.add_printer("TReference", "^TReference<.*>$", Reference)
        self.add_printer("TTrace::Category", "^TTrace::Category$", Category)

    def __call__(self, value):
        found = super().__call__(value)
        if found is None:
            kind = gdb.types.get_basic_type(value.type)
            if kind.code == gdb.TYPE_CODE_STRUCT and is_exception(kind):
                return Problem(value)
        return found


class TracesCommand(gdb.Command):
    """List the trace destinations of the process, in the order in which they receive an entry."""

    def __init__(self):
        super().__init__("info tuzutil-traces", gdb.COMMAND_DATA)

    def invoke(self, argument, from_tty):
        try:
            destination = gdb.parse_and_eval("TTrace::Base::fsAnchor")
        except gdb.error:
            print("The trace destinations are unknown, because tuzutil was built without debug information.")
            return
        word = lambda value: int(value["fValue"]["_M_i"])
        if not int(destination):
            print("No trace destinations.")
        for _ in range(10000):  # a damaged chain may have no end
            if not int(destination):
                break
            value = destination.dereference()
            print(f"{destination.dynamic_type.target().name} at {int(destination):#x}: levels {word(value['fLevel']):#x}, "
                  f"components {word(value['fComponent']):#x}" + (", stopped" if word(value["fStopped"]) else ""))
            destination = value["fNext"]


def register():
    gdb.printing.register_pretty_printer(gdb.current_objfile(), Printers(), replace=True)
    TracesCommand()


register()
