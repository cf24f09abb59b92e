#!/usr/bin/env python3
"""Shows the comments of a public header to Doxygen: filter.py HEADER

The headers have plain comments. This filter makes documentation of them:
- The first page of a header documents the classes that it names, with its example and its sections.
- A comment above a declaration documents it. A comment about several declarations ("These functions ...", or "A() and
  B() ...") documents all that follow without an empty line between them, and without a comment above them.
- A comment after a declaration, on the same line, documents that declaration.
- Private members are left out, except virtual functions, which a subclass can override.
- Destructors, copies and assignments without a comment are left out, and so are deleted functions, friends that are
  declared elsewhere, functions that repeat a friend outside of its class, and definitions of members outside of it.
Everything else is passed on unchanged.
"""

import os
import re
import sys

SECTION = re.compile(r"^(Ownership|Threads|Failures):\s+(.*)$")
SCOPE = re.compile(r"^(template\s*<.*>\s*)?(class|struct|enum|namespace|union|extern\s+\"C\")\b(?!.*\)\s*(const)?\s*(noexcept)?\s*$)")


def escape(text):
    """Escapes the characters of a comment that have a meaning for Doxygen, except in `code` and "quotes".

    Doxygen shows quotes as they are, even if they end on the next line. So the comment must be whole.
    """
    parts = re.split(r'(`[^`]*`|"[^"\n]*(?:\n[^"\n]*)?")', text)
    for i in range(0, len(parts), 2):
        parts[i] = re.sub(r"([\\@<>#%&])", r"\\\1", parts[i])
    return "".join(parts)


def sentence(text):
    """Returns a comment that follows a declaration, with a capital letter and a full stop."""
    first = text.split()[0]
    if re.fullmatch(r"[a-z]+[,;:]?", first):
        text = text[0].upper() + text[1:]
    return text if text[-1] in ".:?" else text + "."


def sections(lines):
    """Returns the text, example and sections of a comment, as Doxygen reads them."""
    # Pairs of lines and whether they are code. The other lines are escaped together.
    marked, code = [], False
    for line in lines:
        code = line.startswith("Example:") or (code and (not line or line.startswith("    ")))
        marked.append((line, code and not line.startswith("Example:")))
    text = iter(escape("\n".join(line for line, code in marked if not code)).split("\n"))
    body, code, items = [], False, False
    for line, is_code in marked:
        if is_code:
            body.append(line[4:])
            continue
        line = next(text)
        if code:
            body.append("\\endcode")
        code = line.startswith("Example:")
        section = SECTION.match(line)
        if code:
            body += ["\\par Example", "\\code{.cpp}"]
        elif section:
            body += [f"\\par {section.group(1)}", section.group(2)]
        elif line.startswith("Surprises:"):
            body += ["\\par Surprises", ""]
            items = True
        elif items:
            body.append(line if line.startswith("- ") else "  " + line.strip())
        else:
            body.append(line.strip())
    if code:
        body.append("\\endcode")
    return "\n".join(body)


def page(lines, header, rest):
    """Returns the documentation that the first page of a header gives to its classes. `rest` is the header after it."""
    end = lines.index("") if "" in lines else len(lines)
    sentences = re.split(r"(?<=\.) (?=[A-Z])", " ".join(lines[:end]))
    out = f"/*! \\file\n{sections(lines)}\n*/\n"
    names, others = {}, []  # the classes with the sentences about them, and the other sentences
    for sentence in sentences:
        head = re.match(r"([\w, ]+?): (.*)$", sentence)
        found = [name for name in re.split(r", | and ", head.group(1))
                 if re.search(rf"^(class|struct)( TUZUTIL_API)? {name}\b", rest, re.M)] if head else []
        names.update((name, head.group(2)) for name in found)
        if not found:
            others.append(sentence)
    for name, about in names.items():
        # If the class has a comment of its own, this comment says what the page says about the class.
        described = re.search(rf"^//.*\n(template .*\n)?(class|struct)( TUZUTIL_API)? {name}\b", rest, re.M)
        intro = " ".join(([] if described else [about[0].upper() + about[1:]]) + others)
        out += f"/*! \\class {name} {header} tuzutil/{header}\n{sections([intro] + lines[end:])}\n*/\n"
    return out


def split_comment(line):
    """Returns the code of a line, and its comment or None."""
    quote = None
    i = 0
    while i < len(line):
        c = line[i]
        if quote:
            if c == "\\":
                i += 1
            elif c == quote:
                quote = None
        elif c == '"' or (c == "'" and not (i and line[i - 1].isalnum())):
            quote = c
        elif line.startswith("//", i):
            return line[:i].rstrip(), re.sub(r"\s*NOLINT\S*", "", line[i + 2:].strip()) or None
        i += 1
    return line.rstrip(), None


# A comment about all declarations of a paragraph.
SHARED = re.compile(r"[^.]*\b([Tt]hese|following) (functions|constructors|operators|overloads|assignments|searches|classes|types"
                    r"|categories|macros)\b|\w+\(\)(, \w+\(\))* and ")

# A member that is defined outside of its class.
MEMBER = re.compile(r"(template <.*?> )?[\w:<>, *&]*?\bT\w+::\w+\([^;]*\{")

# A member that does what such a member always does.
ORDINARY = re.compile(r"(virtual )?~\w+\(.*|(explicit )?(\w+)\(\3 (const )?(const )?&&?\w*\).*|(explicit )?(\w+)\(\7 const &\w*\).*"
                      r"|.*= (delete|default);|(\w+) &operator=\(\9 (const )?&&?\w*\).*")


class Filter:
    def __init__(self, lines):
        self.lines = lines
        self.out = lines.append
        self.begin = 0       # index of the first line of the present declaration
        self.friends = set() # functions that are defined as friends in a class
        self.comment = []    # lines of comments since the last code
        self.documents = []  # the comment that documents the declarations of this paragraph
        self.statement = ""  # what was read of the present declaration
        self.scopes = ["namespace"]
        self.private = [False]  # whether each scope is in its private part
        self.shown = False      # whether the present declaration is shown although it is private
        self.macro = False

    def line(self, line):
        stripped = line.strip()
        if self.macro or stripped.startswith("#"):
            if stripped.startswith("#define"):
                if not self.comment:
                    self.lines += self.documents
                self.flush(True)
            elif self.comment and re.match(r"// TUZUTIL_\w+ ", self.comment[0]):
                text = escape("\n".join(comment[2:] for comment in self.comment))
                self.lines += [f"/*! \\def {self.comment[0].split()[1]}", text, "*/"]
                self.comment = []
            else:
                self.flush(False)
            self.macro = stripped.endswith("\\")
            self.out(line)
        elif stripped.startswith("//"):
            self.comment.append(line)
        elif not stripped:
            self.flush(False)
            self.documents = []
            self.out(line)
        else:
            self.code(line)

    def flush(self, documents):
        if documents and any(comment.strip() == "// Example:" for comment in self.comment):
            self.out("/** " + sections([comment.strip()[3:] for comment in self.comment]) + "\n*/")
            self.comment = []
        if documents and self.comment:
            indent = " " * (len(self.comment[0]) - len(self.comment[0].lstrip()))
            text = "\n".join(comment.strip()[2:] for comment in self.comment)
            shown = ["///" + line for line in escape(text).split("\n")]
            self.lines += [indent + line for line in shown]
            if SHARED.match(text.replace("\n", "").strip()):
                self.documents = shown
        else:
            self.lines += self.comment
        self.comment = []

    def code(self, line):
        code, behind = split_comment(line)
        starts = not self.statement and self.scopes[-1] in ("class", "struct", "namespace")
        indent = line[:len(line) - len(line.lstrip())]
        label = re.fullmatch(r"(public|protected|private):", code.strip())
        if starts:
            self.shown = not any(self.private) or (not any(self.private[:-1]) and code.strip().startswith("virtual "))
        if label and not any(self.private[:-1]):
            self.private[-1] = label.group(1) == "private"
        elif not self.shown and not (code.strip() == "};" and not any(self.private[:-1])):
            self.comment = []
            self.follow(code)
            return
        ordinary = starts and not self.comment and behind is None and ORDINARY.fullmatch(code.strip()) and \
            code.strip()[-1:] in ";}"
        if ordinary:
            self.follow(code)
            self.out("")
            return
        if starts:
            self.begin = len(self.lines)
        if starts and not label and code.strip() != "};" and not code.strip().startswith("}"):
            if self.comment:
                self.flush(True)
            elif self.documents and not re.match(r"(class|struct|enum|namespace)\b.*\{$", code.strip()):
                for text in self.documents:
                    self.out(indent + text)
        else:
            self.flush(self.scopes[-1] == "enum")
        if label:
            self.documents = []
        whole = self.follow(code)
        if behind is None:
            self.out(line)
        elif self.scopes[-1] != "body" and (whole or self.scopes[-1] == "enum"):
            self.out(f"{code} ///< {escape(sentence(behind))}")
        else:
            self.out(line)
        if whole:
            self.leave_out()

    def leave_out(self):
        """Removes the declaration that has just ended from the lines if it needs no documentation."""
        declaration = " ".join(line.strip() for line in self.lines[self.begin:] if not line.strip().startswith("//"))
        declaration = declaration.split(" ///<")[0]
        friend = re.match(r"(template <.*?> )?friend (.*?)( \{.*|;)$", declaration)
        if friend and friend.group(3).startswith(" {"):
            self.friends.add(friend.group(2))
        elif friend or re.search(r"= delete;$", declaration) or declaration[:-1] in self.friends or \
                (self.scopes[-1] == "namespace" and MEMBER.match(declaration)):
            del self.lines[self.begin:]

    def follow(self, code):
        """Follows braces and statements. Returns whether a declaration ends with this line."""
        whole = False
        text = re.sub(r'"(\\.|[^"\\])*"', '""', code)
        text = re.sub(r"'(\\.|[^'\\])'", "' '", text)
        for i, c in enumerate(text):
            if c == "{":
                kind = SCOPE.match(self.statement.strip())
                name = kind.group(2) if kind and "(" not in re.sub(r"^template\s*<.*?>\s*", "", self.statement) else None
                self.scopes.append({"union": "struct"}.get(name, name) if name else "body")
                self.private.append(self.scopes[-1] == "class")
                if name:
                    self.statement = ""
            elif c == "}":
                if len(self.scopes) > 1:
                    ended = self.scopes.pop()
                    self.private.pop()
                    if ended == "body" and self.scopes[-1] != "body" and "(" in self.statement:
                        if not text[i + 1:].strip():
                            self.statement = ""
                            whole = True
            elif c == ";":
                if self.scopes[-1] != "body":
                    self.statement = ""
                    whole = True
            elif self.scopes[-1] != "body":
                self.statement += c
        if re.fullmatch(r"\s*((public|protected|private):|TUZUTIL_\w+\(.*\))\s*", self.statement):
            self.statement = ""
        if self.statement:
            self.statement += " "
        if not self.statement.strip():
            self.statement = ""
        return whole


def main():
    path = sys.argv[1]
    with open(path, encoding="utf-8") as source:
        lines = source.read().split("\n")
    header = os.path.basename(path)
    first = next((i for i, line in enumerate(lines) if line.startswith("//")), None)
    written = []
    if first is not None:
        last = first
        while lines[last].startswith("//"):
            last += 1
        documented = page([line[3:] for line in lines[first:last]], header, "\n".join(lines[last:]))
        lines[first:last] = [""] * (last - first)
        written.append(documented)
    follow = Filter(written)
    for line in lines:
        follow.line(line)
    follow.flush(False)
    sys.stdout.write("\n".join(written))


if __name__ == "__main__":
    main()
