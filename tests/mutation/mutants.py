"""The small faults: what each kind changes in a source."""
import collections
import pathlib
import re

from source import Source, allStatements

# One fault: in the file, the text from start to end becomes another. `before` and `after` are the
# statement or the line around it, for people and for the list of survivors.
Mutant = collections.namedtuple("Mutant", "file function kind start end text before after")

COMPARISONS = {"==": "!=", "!=": "==", "<": "<=", "<=": "<", ">": ">=", ">=": ">"}
CONNECTIVES = {"&&": "||", "||": "&&"}
# Names that stand for one of two, and the other one.
COUNTERPARTS = [("include", "exclude"), ("Include", "Exclude"), ("old", "new"), ("vxlan", "mpls"),
                ("add", "del"), ("subscriberIs", "subscriberDel"), ("on_self0", "on_self1"),
                ("OismMplsTunnel", "OismGateway"), ("vrfNameToSbdVlan", "vrfToSbdVlan")]


def counterpartOf(name):
    for one, other in COUNTERPARTS:
        for a, b in ((one, other), (other, one)):
            found = re.search(rf"(?:^|(?<=[a-z])(?=[A-Z])|(?<=is)){a}(?![a-z])", name)
            if found:
                return name[:found.start()] + b + name[found.end():]
    return None


class Maker:
    """Makes the mutants of one file."""

    def __init__(self, file, text, knownNames):
        self.file = file
        self.source = Source(text)
        self.tokens = self.source.tokens
        self.known = knownNames
        self.mutants = []

    def all(self):
        for function in self.source.functions:
            for statements in allStatements(function.statements):
                self._block(function, statements)
        for i in range(len(self.tokens)):
            self._token(i)
        return sorted(self.mutants, key=lambda mutant: (mutant.start, mutant.end, mutant.kind))

    def _put(self, kind, begin, end, text, shown=None, function=None):
        """A mutant that replaces the tokens begin..end; `shown` are those that a reader sees."""
        start, stop = self.tokens[begin].start, self.tokens[end - 1].end
        first, last = shown or self._shown(begin, end)
        before = self.source.words(first, last)
        head, tail = self.source.words(first, begin), self.source.words(end, last)
        gaps = [" " * (begin > first and self.tokens[begin - 1].end != start),
                " " * (end < last and stop != self.tokens[end].start)]
        after = head + gaps[0] + text + gaps[1] + tail
        function = function or self.source.functionAt(begin)
        self.mutants.append(Mutant(self.file, function.name if function else "", kind, start, stop,
                                   text, before, " ".join(after.split())))

    def _shown(self, begin, end):
        """The simple statement or the head of the branch around some tokens."""
        stops = (";", "{", "}")
        while begin > 0 and self.tokens[begin - 1].text not in stops:
            begin -= 1
        while self.tokens[end - 1].text not in stops:
            end += 1
        return begin, end

    def _block(self, function, statements):
        for place, statement in enumerate(statements):
            if statement.kind == "if":
                self._if(statement)
            elif statement.kind == "loop":
                self._put("loop skipped", statement.begin, statement.begin + 1,
                          "if (false) " + self.tokens[statement.begin].text,
                          (statement.begin, statement.condition[1] + 1))
            elif statement.kind == "expression" and not self._isBranch(statement):
                self._put("call dropped", statement.begin, statement.end, "{}",
                          (statement.begin, statement.end))
            elif statement.kind == "jump" and statements is not function.statements and \
                    not self._isBranch(statement):
                self._put("early return skipped", statement.begin, statement.end, "{}",
                          self._shown(statement.begin, statement.end))
            if place + 1 < len(statements):
                self._exchange(statement, statements[place + 1])

    def _isBranch(self, statement):
        """Whether a condition that is never met is the same as to leave this statement out."""
        return self.tokens[statement.begin - 1].text == ")" and \
            self.tokens[statement.end].text != "else"

    def _isTurnedBySign(self, begin, end):
        """Whether another kind of fault negates the condition: it is one comparison, or begins with
        the sign that negates it whole."""
        signs = [token.text for token in self.tokens[begin:end] if token.kind == "sign"]
        return not CONNECTIVES.keys() & signs and \
            (self.tokens[begin].text == "!" or bool({"==", "!="} & set(signs)))

    def _if(self, statement):
        begin, end = statement.condition
        depth, assigned = 0, None
        for i in range(begin, end):
            depth += (self.tokens[i].text in "([{") - (self.tokens[i].text in ")]}")
            if self.tokens[i].text == "=" and depth == 0:
                assigned = i
        shown = (statement.begin, end + 1)
        condition = self.source.text[self.tokens[begin].start:self.tokens[end - 1].end]
        name = self.tokens[assigned - 1].text if assigned else None
        opposite = f"{condition}; !{name}" if name else f"!({condition})"
        if name or not self._isTurnedBySign(begin, end):
            self._put("condition negated", begin, end, opposite, shown)
        leaves = statement.bodies[0][-1].kind == "jump" if statement.bodies[0] else False
        for value, kind in (("true", "branch always taken"),
                            ("false", "early return skipped" if leaves else "branch skipped")):
            always = f"{condition}; {value}" if name else value
            self._put(kind, begin, end, always, shown)

    def _exchange(self, one, other):
        movable = ("expression", "if", "loop")
        if one.kind not in movable or other.kind not in movable:
            return
        text = self.source.text

        def textOf(statement):
            return text[self.tokens[statement.begin].start:self.tokens[statement.end - 1].end]
        between = text[self.tokens[one.end - 1].end:self.tokens[other.begin].start]
        between = re.sub(r"//[^\n]*", "", between)
        self._put("statements exchanged", one.begin, other.end, textOf(other) + between + textOf(one),
                  (one.begin, other.end))

    def _token(self, i):
        token = self.tokens[i]
        if token.kind == "number":
            self._number(i)
        elif token.kind == "name":
            self._name(i)
        elif token.text in COMPARISONS and self._isBinary(i):
            self._put("comparison changed", i, i + 1, COMPARISONS[token.text])
        elif token.text in CONNECTIVES and self._isBinary(i):
            self._put("connective changed", i, i + 1, CONNECTIVES[token.text])
        elif token.text == "!":
            self._put("negation dropped", i, i + 1, "")
        elif token.text == "?" and self._isBinary(i):
            self._choice(i)

    def _isBinary(self, i):
        """Whether blanks surround it, as around a binary sign and not around a template's."""
        return self.tokens[i - 1].end < self.tokens[i].start and \
            self.tokens[i].end < self.tokens[i + 1].start and \
            self.source.functionAt(i) is not None

    def _number(self, i):
        text = self.tokens[i].text
        if re.fullmatch(r"\d+", text):
            self._put("constant changed", i, i + 1, str(int(text) + 1))
            if int(text) == 1:
                self._put("constant changed", i, i + 1, "0")

    def _name(self, i):
        text = self.tokens[i].text
        if text in ("true", "false"):
            self._put("constant changed", i, i + 1, "false" if text == "true" else "true")
            return
        other = counterpartOf(text)
        declares = self.tokens[i - 1].kind == "name" and self.tokens[i - 1].text != "return"
        if other in self.known and self.source.functionAt(i) and not declares:
            self._put("name exchanged", i, i + 1, other)

    def _choice(self, i):
        """Exchanges what a conditional expression chooses from."""
        colon = i + 1
        while self.tokens[colon].text != ":":
            colon = self._after(colon)
        end = colon + 1
        while self.tokens[end].text not in (";", ",", ")", "}"):
            end = self._after(end)
        text = self.source.text
        first = text[self.tokens[i + 1].start:self.tokens[colon - 1].end]
        second = text[self.tokens[colon + 1].start:self.tokens[end - 1].end]
        self._put("choice exchanged", i + 1, end, f"{second} : {first}")

    def _after(self, i):
        return self.source.partner.get(i, i) + 1 if self.tokens[i].text in "([{" else i + 1


def mutantsOf(folder, names):
    """Every mutant of the sources and headers below a folder, file by file."""
    files = sorted(folder.rglob("*.cpp")) + sorted(folder.rglob("*.h"))
    mutants = []
    for file in files:
        made = Maker(str(file.relative_to(folder)), file.read_text(encoding="utf-8"), names).all()
        mutants += made
    return mutants


def namesIn(*folders):
    """Every name that occurs below the folders."""
    names = set()
    for folder in folders:
        for file in pathlib.Path(folder).rglob("*.*"):
            if file.suffix in (".h", ".cpp"):
                names.update(re.findall(r"[A-Za-z_]\w*", file.read_text(encoding="utf-8")))
    return names
