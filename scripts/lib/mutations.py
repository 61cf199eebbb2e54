"""Single changes to C++ sources, each of which a test should catch."""
import hashlib
import re
from dataclasses import dataclass

TOKEN = re.compile(r"""
    (?P<comment> //[^\n]* | /\*.*?\*/ )
  | (?P<directive> ^[ \t]*\#(?:[^\n\\]|\\.|\\\n)* )
  | (?P<string> "(?:[^"\\\n]|\\.)*" )
  | (?P<char> '(?:[^'\\\n]|\\.)*' )
  | (?P<number> \b0[xX][0-9a-fA-F']+[uUlL]* | \b\d[\d']*(?:\.\d+)?[uUlLfF]* )
  | (?P<name> [A-Za-z_]\w* )
  | (?P<mark> <<=|>>=|\.\.\.|->\*|->|::|<<|>>|<=|>=|==|!=|&&|\|\||\+\+|--|\+=|-=|\*=|/=|%=|&=|\|=|\^=|. )
""", re.VERBOSE | re.DOTALL | re.MULTILINE)

# The replacement of a name: another of the same kind.
NAMES = {
    "VNRES_SUCCEED": ("code", "VNRES_FAIL"), "VNRES_FAIL": ("code", "VNRES_INVALID_ARG"),
    "VNRES_INVALID_ARG": ("code", "VNRES_FAIL"), "VNRES_WRONG_DEVICE": ("code", "VNRES_UNSUPPORTED"),
    "VNRES_UNSUPPORTED": ("code", "VNRES_WRONG_DEVICE"), "VNRES_BUFFER_ERROR": ("code", "VNRES_BUF_TOO_SMALL"),
    "VNRES_BUF_TOO_SMALL": ("code", "VNRES_BUFFER_ERROR"), "VNRES_PUSH_FAIL": ("code", "VNRES_FAIL"),
    "VNRES_STAMP": ("default", "VNRES_SHARED_MEMORY"), "VNRES_PHOTOGRAPHY": ("default", "VNRES_YUV_SOURCE"),
    "true": ("default", "false"), "false": ("default", "true"),
    "play": ("default", "ready"), "debugStreams": ("default", "standardOutput"),
    "standardOutput": ("default", "debugStreams"), "trace": ("default", "information"),
    "information": ("default", "trace"), "timing": ("default", "information"), "error": ("default", "timing"),
    "break": ("order", "continue"), "continue": ("order", "break"),
}
# These affect only the colour of a line, which standard output does not show.
LINE_KINDS = {"trace", "information", "timing", "error"}
COMPARISONS = {"<": "<=", ">": ">=", "<=": "<", ">=": ">", "==": "!=", "!=": "==", "&&": "||", "||": "&&"}
ARITHMETIC = {"+": "-", "-": "+", "*": "/", "/": "*", "%": "/", "+=": "-=", "-=": "+=", "*=": "/=", "/=": "*=",
              "&": "|", "|": "&", ">>": "<<", "&=": "|=", "|=": "&="}
CHECKS = {"VN_FAIL_IF": 0, "VN_FAIL_IF_SAYING": 0, "VN_FAIL_IF_OF": 1}
NOT_CALLS = {"return", "using", "typedef", "static_assert", "case", "default", "public", "private", "protected",
             "template", "namespace", "throw", "if", "for", "while", "do", "else", "switch", "VN_LOG_SINK", "VN_END",
             "VN_END_WITH", "extern", "goto", "break", "continue"}


@dataclass(frozen=True)
class Mutation:
    """Replaces the source from `begin` to `end` by `text`."""
    file: str
    begin: int
    end: int
    text: str
    kind: str
    line: int
    was: str

    def key(self, content):
        parts = (self.file, hashlib.sha1(content.encode()).hexdigest(), self.begin, self.end, self.kind, self.text)
        return hashlib.sha1(repr(parts).encode()).hexdigest()

    def name(self):
        return f"{self.file}: {self.kind}: {one_line(self.was)} -> {one_line(self.text) or 'nothing'}"

    def apply(self, content):
        return content[:self.begin] + self.text + content[self.end:]


def one_line(text):
    return " ".join(text.split())


class Source:
    def __init__(self, file, content):
        self.file = file
        self.content = content
        self.tokens = [(match.lastgroup, match.group(), match.start(), match.end())
                       for match in TOKEN.finditer(content)
                       if match.lastgroup not in ("comment", "directive") and not match.group().isspace()]
        self.coloured = "VN_LOG_SINK(standardOutput)" not in content
        self.found = []

    def mutations(self):
        for i in range(len(self.tokens)):
            self.token(i)
            self.condition(i)
            self.check(i)
        self.statements()
        self.slots()
        unique = {(m.begin, m.end, m.text): m for m in reversed(self.found)}
        return sorted(unique.values(), key=lambda m: (m.begin, m.end, m.text))

    def in_assertion(self, i):
        """Whether token i belongs to a static assertion, whose text only a compiler shows."""
        while i >= 0 and self.text(i) not in (";", "{", "}"):
            i -= 1
        return self.text(i + 1) == "static_assert"

    def text(self, i):
        return self.tokens[i][1] if 0 <= i < len(self.tokens) else ""

    def add(self, begin, end, text, kind):
        self.found.append(Mutation(self.file, begin, end, text, kind, self.content.count("\n", 0, begin) + 1,
                                   self.content[begin:end]))

    def token(self, i):
        group, text, begin, end = self.tokens[i]
        spaced = self.content[begin - 1:begin] in " \n" and self.content[end:end + 1] in " \n"
        if group == "string" and self.text(i - 1) != "extern" and not self.in_assertion(i):
            self.add(begin, end, changed_text(text), "text")
        elif group == "char":
            self.add(begin, end, "'~'", "text")
        elif group == "number" and not self.is_pure(i):
            self.add(begin, end, next_number(text), "default")
        elif text == "std" and self.text(i + 2) == "int64_t" and self.text(i + 3) == "{":
            self.add(begin, self.tokens[i + 2][3], "int", "width")
        elif group == "name" and text in NAMES and (self.coloured or text not in LINE_KINDS):
            self.add(begin, end, NAMES[text][1], NAMES[text][0])
        elif group == "mark" and spaced and text in COMPARISONS:
            self.add(begin, end, COMPARISONS[text], "comparison")
        elif group == "mark" and spaced and text in ARITHMETIC:
            self.add(begin, end, ARITHMETIC[text], "arithmetic")
        elif text == "!":
            self.add(begin, end, "", "comparison")

    def is_pure(self, i):
        """Whether token i is the 0 of a pure virtual function."""
        return self.text(i - 1) == "=" and self.text(i - 2) in (")", "const") and self.text(i + 1) == ";"

    def closing(self, i):
        """The token that closes the bracket at token i."""
        pairs = {"(": ")", "{": "}", "[": "]"}
        depth = 0
        for k in range(i, len(self.tokens)):
            group, text = self.tokens[k][:2]
            if group != "mark":
                continue
            if text in pairs:
                depth += 1
            elif text in pairs.values():
                depth -= 1
                if depth == 0:
                    return k
        return len(self.tokens) - 1

    def condition(self, i):
        """if (x): always, never."""
        if self.text(i) != "if" or self.text(i + 1) != "(":
            return
        end = self.closing(i + 1)
        begin = self.tokens[i + 1][3]
        inside = self.content[begin:self.tokens[end][2]]
        if re.search(r"[\w>*&]\s+\*?\s*\w+\s*=[^=]", inside):  # a declaration: only its value can be changed
            return
        for value in ("false", "true"):
            self.add(begin, self.tokens[end][2], f"(({inside}), {value})", "check")

    def check(self, i):
        """A check that is made and has no consequence."""
        if self.text(i) not in CHECKS or self.text(i + 1) != "(":
            return
        arguments = self.arguments(i + 1)
        begin, end = arguments[CHECKS[self.text(i)]]
        self.add(begin, end, f"(({self.content[begin:end]}), false)", "check")

    def arguments(self, i):
        """Begin and end of each argument of the call whose parenthesis is token i."""
        last = self.closing(i)
        found, k, begin = [], i + 1, self.tokens[i][3]
        while k < last:
            if self.text(k) in ("(", "{", "["):
                k = self.closing(k)
            elif self.text(k) == ",":
                found.append((begin, self.tokens[k][2]))
                begin = self.tokens[k][3]
            k += 1
        found.append((begin, self.tokens[last][2]))
        return [(b + len(self.content[b:e]) - len(self.content[b:e].lstrip()), e) for b, e in found]

    def statements(self):
        """Statements that are calls or assignments: each left out, and each but the first before its neighbour."""
        previous = None
        for i in range(len(self.tokens)):
            if not (self.text(i - 1) in (";", "{", "}", "else", "do") or self.follows_header(i)):
                continue
            end = self.statement_end(i)
            if end is None:
                continue
            begin, finish = self.tokens[i][2], self.tokens[end][3]
            self.add(begin, finish, ";", "call")
            own = self.text(i - 1) not in ("else", "do") and not self.follows_header(i)
            if own and previous and previous[2] == i - 1:
                first = self.content[previous[0]:previous[1]]
                second = self.content[begin:finish]
                # Two calls: the order of plain stores cannot be told from outside.
                if "(" in first and "(" in second:
                    self.add(previous[0], finish, second + self.content[previous[1]:begin] + first, "order")
            previous = (begin, finish, end) if own else None

    def slots(self):
        """Virtual functions: one more before each, and each before its neighbour."""
        previous = None
        for i in range(len(self.tokens)):
            if self.text(i) != "virtual" or self.text(i - 1) not in (";", "{", "}", ":"):
                continue
            end = i
            while self.text(end) not in (";", "{"):
                end = self.closing(end) + 1 if self.text(end) == "(" else end + 1
            if self.text(end) == "{":
                end = self.closing(end)
            begin, finish = self.tokens[i][2], self.tokens[end][3]
            self.add(begin, begin, "virtual void insertedSlot() {} ", "slot")
            if previous and previous[2] == i - 1:
                self.add(previous[0], finish, self.content[begin:finish] + self.content[previous[1]:begin] +
                         self.content[previous[0]:previous[1]], "slot")
            previous = (begin, finish, end)

    def follows_header(self, i):
        if self.text(i - 1) != ")":
            return False
        depth = 0
        for k in range(i - 1, -1, -1):
            depth += {")": 1, "(": -1}.get(self.text(k), 0)
            if depth == 0:
                return self.text(k - 1) in ("if", "for", "while")
        return False

    def statement_end(self, i):
        """The semicolon of the call or assignment that begins at token i; None if there begins something else."""
        first = self.text(i)
        if first in NOT_CALLS:
            return None
        k = i
        if self.tokens[i][0] == "name":
            while self.text(k + 1) == "::":
                k += 2
            starts = (self.text(k + 1) in ("(", "->", ".", "=", "+=", "-=", "[", "++", "--", "|=")
                      or first == "delete")
        else:
            starts = first in ("*", "++", "--")
        if not starts:
            return None
        while k < len(self.tokens):
            text = self.text(k)
            if text == ";":
                return k
            if text in ("(", "["):
                k = self.closing(k)
            elif text in ("{", "}", ")") or text in NOT_CALLS:
                return None
            k += 1
        return None


def changed_text(literal):
    inside = literal[1:-1]
    if not inside:
        return '"x"'
    # Not in the middle of an escape.
    pieces = re.findall(r"\\(?:x[0-9a-fA-F]+|[0-7]{1,3}|.)|[^\\]", inside)
    at = len(pieces) // 2
    pieces[at] = "y" if pieces[at] == "x" else "x"
    return '"' + "".join(pieces) + '"'


def next_number(text):
    match = re.fullmatch(r"(0[xX][0-9a-fA-F']+|[\d']+)(\.\d+)?([uUlLfF]*)", text)
    digits = match.group(1).replace("'", "")
    if digits[:2] in ("0x", "0X"):
        return hex(int(digits, 16) + 1) + match.group(3)
    return str(int(digits) + 1) + (match.group(2) or "") + match.group(3)
