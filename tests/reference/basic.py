"""Holds listings in the host's BASIC dialect against what the plug-in declares: every name is known, and
every call has the arguments that its declaration asks for."""
import re

TOKEN = re.compile(r"""\s*(?:(?P<number>\d+(?:\.\d+)?)|(?P<color>&c[0-9A-Fa-f]{6}\b)|"(?P<string>[^"]*)"
                       |(?P<word>[A-Za-z_]\w*)|(?P<sign><=|>=|<>|[-+*/\\=<>(),.]))""", re.X)
SIGNATURE = re.compile(r"(?:Function|Sub)\s+(\w+)\s*\((.*)\)(?:\s+As\s+(\w+))?$", re.I)
OPERATORS = {"+", "-", "*", "/", "\\", "mod", "=", "<>", "<", ">", "<=", ">=", "and", "or"}
COMPARISONS = {"=", "<>", "<", ">", "<=", ">=", "and", "or"}

# What the listings use of the host itself: members by type, as (parameter types, result).
HOST = {
    "picture": {"width": ([], "integer"), "height": ([], "integer"), "graphics": ([], "graphics")},
    "graphics": {"drawpicture": (["picture", "integer", "integer"], None),
                 "drawrect": (["integer"] * 4, None), "forecolor": ([], "color")},
    "memoryblock": {"byte": (["integer"], "integer")},
    "string": {},
    "nilobjectexception": {"message": ([], "string")},
    None: {"min": (["double"] * 2, "double"), "max": (["double"] * 2, "double"),
           "round": (["double"], "integer"), "msgbox": (["string"], None)},
}
CONSTRUCTORS = {"memoryblock": ["integer"], "picture": ["integer", "integer"]}
CONSTANTS = {"true": "boolean", "false": "boolean", "nil": "nil"}


class Mistake(Exception):
    """What is wrong with a line."""


def members_of(callables):
    """The plug-in's and the host's names: {type: {name: [(parameter types, byref, result, assignable)]}}."""
    members = {kind: {name: [(types, [], result, result is not None)] for name, (types, result) in names.items()}
               for kind, names in HOST.items()}

    def add(owner, method):
        rows = method["parameters"]
        required = [row for row in rows if "default" not in row]
        for count in range(len(required), len(rows) + 1):
            shape = ([row["type"] for row in rows[:count]], [row.get("byref", False) for row in rows[:count]],
                     method.get("result"), method["assignable"])
            members[owner].setdefault(method["name"].lower(), []).append(shape)

    for row in callables:
        if row["kind"] == "class":
            own = members.setdefault(row["name"].lower(), {})
            for prop in row["properties"]:
                own[prop["name"].lower()] = [([], [], prop["type"].lower(), True)]
            for method in row["methods"]:
                add(row["name"].lower(), method)
        else:
            add("picture" if row["kind"] == "method of Picture" else None, row)
    return members


def fits(value, wanted):
    return value == wanted or (value, wanted) in {("integer", "double")} or (
        value == "nil" and wanted not in {"integer", "double", "boolean", "color"})


class Line:
    """One line, read from left to right against the names that are known at this place."""

    def __init__(self, text, members, variables):
        self.members, self.variables = members, variables
        self.tokens = []
        at = 0
        text = text.rstrip()
        while at < len(text):
            token = TOKEN.match(text, at)
            if not token:
                raise Mistake(f"cannot read {text[at:]}")
            self.tokens.append((token.lastgroup, token[token.lastgroup]))
            at = token.end()

    def peek(self):
        return self.tokens[0][1].lower() if self.tokens else ""

    def take(self, wanted=None):
        if not self.tokens or (wanted and self.peek() != wanted):
            raise Mistake(f"expected {wanted or 'something'}, not {self.peek() or 'the end of the line'}")
        return self.tokens.pop(0)

    def accept(self, wanted):
        return bool(self.tokens) and self.peek() == wanted and bool(self.take())

    def expression(self):
        """The type of the expression."""
        kind = self.operand()
        while self.peek() in OPERATORS:
            operator = self.take()[1].lower()
            other = self.operand()
            if operator in COMPARISONS:
                kind = "boolean"
            elif {kind, other} <= {"integer", "double"}:
                kind = "double" if operator == "/" or "double" in (kind, other) else "integer"
            elif operator != "+" or (kind, other) != ("string", "string"):
                raise Mistake(f"{kind} {operator} {other}")
        return kind

    def operand(self):
        if self.accept("-"):
            return self.operand()
        if self.accept("not"):
            return self.operand()
        if self.accept("("):
            kind = self.expression()
            self.take(")")
            return kind
        if self.accept("new"):
            kind = self.take()[1].lower()
            if kind not in self.members:
                raise Mistake(f"there is no class {kind}")
            given = [argument for argument, _ in self.arguments()]
            if given and given != CONSTRUCTORS.get(kind):
                raise Mistake(f"New {kind} does not take {given}")
            return kind
        group, text = self.tokens[0] if self.tokens else (None, "")
        if group in ("color", "string"):
            self.take()
            return group
        if group == "number":
            self.take()
            return "double" if "." in text else "integer"
        return self.place()[0]

    def arguments(self):
        """(type, whether it is a variable) of each argument in parentheses, if there are any."""
        found = []
        if self.accept("(") and not self.accept(")"):
            while True:
                alone = len(self.tokens) > 1 and self.tokens[1][1] in ",)" and self.peek() in self.variables
                found.append((self.expression(), alone))
                if not self.accept(","):
                    break
            self.take(")")
        return found

    def place(self):
        """Type of a variable, a call or a chain of both, and whether something can be assigned to it."""
        group, text = self.take()
        name = text.lower()
        if group != "word":
            raise Mistake(f"{text} where a value is expected")
        if name in self.variables:
            kind, assignable = self.variables[name], True
        elif name in CONSTANTS:
            return CONSTANTS[name], False
        else:
            kind, assignable = self.call(None, name)
        while self.accept("."):
            kind, assignable = self.call(kind, self.take()[1].lower())
        return kind, assignable

    def call(self, owner, name):
        shapes = self.members.get(owner, {}).get(name)
        if not shapes:
            raise Mistake(f"there is no {name} of {owner}" if owner else f"there is no {name}")
        given = self.arguments()
        for types, byref, result, assignable in shapes:
            if len(types) != len(given):
                continue
            if all(fits(kind, wanted) for (kind, _), wanted in zip(given, types)) and all(
                    alone or not reference for (_, alone), reference in zip(given, byref)):
                return result, assignable
        raise Mistake(f"{name} does not take {[kind for kind, _ in given]}")

    def end(self):
        if self.tokens:
            raise Mistake(f"{self.tokens[0][1]} is too much")


def declare(variables, text, members):
    for part in filter(None, (part.strip() for part in text.split(","))):
        match = re.fullmatch(r"(?:ByRef\s+)?(\w+)\s+As\s+(\w+)", part, re.I)
        if not match or match[2].lower() not in set(members) | {"integer", "double", "boolean", "color"}:
            raise Mistake(f"cannot understand the declaration {part}")
        variables[match[1].lower()] = match[2].lower()


def check_line(text, members, variables, result):
    """Reads a line; new variables are added."""
    match = re.fullmatch(r"Dim (\w+) As (New (\w+).*)", text, re.I)
    if match:  # Dim table As New MemoryBlock(256)
        declare(variables, f"{match[1]} As {match[3]}", members)
        text = f"{match[1]} = {match[2]}"
    match = re.fullmatch(r"Dim (.*?)(?: = (.*))?", text, re.I)
    if match:
        names = match[1]
        if "," in names:  # Dim x, y As Integer
            kind = names.rsplit(" As ", 1)[1]
            names = ", ".join(f"{name.strip()} As {kind}" for name in names.rsplit(" As ", 1)[0].split(","))
        declare(variables, names, members)
        text = f"{names.split()[0]} = {match[2]}" if match[2] else ""
    match = re.fullmatch(r"For (\w+)(?: As Integer)? = (.*) To (.*)", text, re.I)
    if match:
        variables[match[1].lower()] = "integer"
        for bound in match.group(2, 3):
            line = Line(bound, members, variables)
            if line.expression() != "integer":
                raise Mistake(f"{bound} is not an integer")
            line.end()
        return
    if not text or re.fullmatch(r"Else|End If|Next|Wend|Try|End Try|End Function|End Sub|Return", text, re.I):
        return
    match = re.fullmatch(r"Catch (.*)", text, re.I)
    if match:
        return declare(variables, match[1], members)
    match = re.fullmatch(r"(If|ElseIf|Return|While) (.*?)(?: Then)?", text, re.I)
    if match:
        line = Line(match[2], members, variables)
        wanted = result if match[1].lower() == "return" else "boolean"
        kind = line.expression()
        if not fits(kind, wanted):
            raise Mistake(f"{match[2]} is {kind}, not {wanted}")
        return line.end()
    line = Line(text, members, variables)
    kind, assignable = line.place()
    if line.accept("="):
        value = line.expression()
        if not assignable or not fits(value, kind):
            raise Mistake(f"{value} cannot be assigned here")
    line.end()


def mistakes(listing, callables):
    """What is wrong with a listing, one text per line."""
    members = members_of(callables)
    lines = [re.sub(r"\s*//.*", "", line).strip() for line in listing.splitlines()]
    signatures = [SIGNATURE.match(line) for line in lines]
    found = []
    for match in filter(None, signatures):
        own = {}
        declare(own, match[2], members)
        members[None][match[1].lower()] = [(list(own.values()), [], (match[3] or "").lower() or None, False)]
    variables, result = {}, None
    for line, match in zip(lines, signatures):
        try:
            if match:
                variables, result = {}, (match[3] or "").lower() or None
                declare(variables, match[2], members)
            else:
                check_line(line, members, variables, result)
        except Mistake as mistake:
            found.append(f"{line}: {mistake}")
    return found
