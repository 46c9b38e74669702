"""C++ as far as mutants need it: tokens, functions and their statements, found without a compiler
in sources that clang-format keeps in order."""
import bisect
import collections
import re

Token = collections.namedtuple("Token", "kind text start end")

# A statement: what it is, where its tokens begin and end (the end is exclusive), and its parts. An
# "if" and a loop have a condition (a pair of places, inside the brackets) and bodies; others have
# the statements inside their lambdas as bodies.
Statement = collections.namedtuple("Statement", "kind begin end condition bodies")

# A function: its name, and the tokens of its body.
Function = collections.namedtuple("Function", "name begin end statements")

TOKEN = re.compile(r"""
    (?P<blank>\s+|//[^\n]*|/\*.*?\*/)
  | (?P<directive>(?<![^\n])[ \t]*\#(?:[^\n\\]|\\.)*)
  | (?P<text>(?:u8|[uUL])?"(?:[^"\\]|\\.)*"|'(?:[^'\\]|\\.)+')
  | (?P<number>\.?\d(?:[\w.']|[eEpP][+-])*)
  | (?P<name>[A-Za-z_]\w*)
  | (?P<sign><=>|<<=|>>=|\.\.\.|->\*|::|->|\+\+|--|<<|<=|>=|==|!=|&&|\|\||[-+*/%&|^]=|.)
""", re.VERBOSE | re.DOTALL)

CLOSING = {"(": ")", "[": "]", "{": "}"}


def tokensOf(text):
    """The tokens, without blanks, comments and directives."""
    tokens = []
    for match in TOKEN.finditer(text):
        if match.lastgroup not in ("blank", "directive"):
            tokens.append(Token(match.lastgroup, match.group(), match.start(), match.end()))
    return tokens


class Source:
    """One file: its text, tokens and functions."""

    def __init__(self, text):
        self.text = text
        self.tokens = tokensOf(text)
        self.partner = self._partners()
        self.functions = []
        self._findFunctions()

    def words(self, begin, end):
        """The text of the tokens, each run of blanks and comments between them as one blank."""
        words = ""
        for i in range(begin, end):
            if i > begin and self.tokens[i - 1].end != self.tokens[i].start:
                words += " "
            words += self.tokens[i].text
        return words

    def functionAt(self, place):
        """The function whose body holds the token, or None."""
        at = bisect.bisect([function.begin for function in self.functions], place) - 1
        if at < 0 or place >= self.functions[at].end:
            return None
        return self.functions[at]

    def _partners(self):
        """The place of each bracket's partner."""
        partner, open_ = {}, []
        for i, token in enumerate(self.tokens):
            if token.kind != "sign":
                continue
            if token.text in CLOSING:
                open_.append(i)
            elif token.text in CLOSING.values():
                begin = open_.pop()
                assert CLOSING[self.tokens[begin].text] == token.text
                partner[begin], partner[i] = i, begin
        assert not open_
        return partner

    def _is(self, i, *texts):
        return i < len(self.tokens) and self.tokens[i].text in texts

    def _findFunctions(self):
        header, i = 0, 0
        while i < len(self.tokens):
            if self._is(i, ";", "}") or (self._is(i, ":") and
                                         self._is(i - 1, "public", "protected", "private")):
                header = i + 1
            elif self._is(i, "("):
                i = self.partner[i]
            elif self._is(i, "{"):
                words = [token.text for token in self.tokens[header:i]]
                if self._isScope(words):
                    header = i + 1
                elif "(" in words and "=" not in words[:words.index("(")]:
                    end = self.partner[i] + 1
                    self.functions.append(Function(self._nameOf(header), i, end, self._block(i)))
                    i, header = end - 1, end
                else:
                    i = self.partner[i]
            i += 1

    @staticmethod
    def _isScope(words):
        if words[:1] == ["template"]:
            words = words[words.index(">") + 1:]
        return words[:1] in (["namespace"], ["class"], ["struct"]) or \
            (words[:1] == ["extern"] and "(" not in words)

    def _nameOf(self, header):
        at = header
        while not self._is(at, "("):
            at += 1
        return "~" * self._is(at - 2, "~") + self.tokens[at - 1].text

    def _block(self, i):
        """The statements of the block that begins at the token."""
        statements, end = [], self.partner[i]
        i += 1
        while i < end:
            statements.append(self._statement(i))
            i = statements[-1].end
        return statements

    def _statement(self, i):
        word = self.tokens[i].text
        if word == "{":
            return Statement("block", i, self.partner[i] + 1, None, [self._block(i)])
        if word in ("if", "for", "while"):
            return self._branch(i)
        if word == "try":
            return self._try(i)
        kind = {"return": "jump", "throw": "jump", "continue": "jump", "break": "jump"}.get(word)
        return self._simple(i, kind)

    def _branch(self, i):
        opening = i + 1
        condition = (opening + 1, self.partner[opening])
        body = self._statement(self.partner[opening] + 1)
        bodies, end = [self._inside(body)], body.end
        if self._is(end, "else"):
            other = self._statement(end + 1)
            bodies.append(self._inside(other))
            end = other.end
        kind = "if" if self._is(i, "if") else "loop"
        return Statement(kind, i, end, condition, bodies)

    @staticmethod
    def _inside(statement):
        return statement.bodies[0] if statement.kind == "block" else [statement]

    def _try(self, i):
        bodies = [self._block(i + 1)]
        end = self.partner[i + 1] + 1
        while self._is(end, "catch"):
            block = self.partner[end + 1] + 1
            bodies.append(self._block(block))
            end = self.partner[block] + 1
        return Statement("try", i, end, None, bodies)

    def _simple(self, begin, kind):
        i, bodies = begin, []
        while not self._is(i, ";"):
            if self._is(i, "[") and self.tokens[i - 1].kind == "sign" and \
                    not self._is(i - 1, ")", "]"):
                i = self.partner[i] + 1  # a lambda's captures
                while not self._is(i, "{"):
                    i = self.partner[i] + 1 if self._is(i, "(") else i + 1
                bodies.append(self._block(i))
            i = self.partner[i] + 1 if self._is(i, *CLOSING) and not self._is(i, "(") else i + 1
        if kind is None:
            kind = "declaration" if self._isDeclaration(begin) else "expression"
        return Statement(kind, begin, i + 1, None, bodies)

    def _isDeclaration(self, i):
        """Whether two names follow one another: a type and what is declared."""
        if self._is(i, "const", "static", "auto", "using", "constexpr"):
            return True
        while self.tokens[i].kind == "name" or self._is(i, "::", "&", "*"):
            if self.tokens[i].kind == "name" and self.tokens[i + 1].kind == "name":
                return True
            if self._is(i + 1, "<") or (self._is(i, "&", "*") and self._is(i + 2, "=")):
                return True
            i += 1
        return False


def allStatements(statements):
    """The lists of statements, those inside others too: one list for each block."""
    yield statements
    for statement in statements:
        for body in statement.bodies or []:
            yield from allStatements(body)
