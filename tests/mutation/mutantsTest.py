"""That faults are found where they can be made, and change what they are meant to change."""
import pathlib
import tempfile
import unittest

import mutants
import report
import survivors
from source import Source

NAMES = {"handleInclude", "handleExclude", "oldVlan", "newVlan", "addRoute", "delRoute", "isInclude"}


def faults(body, kind, function="void f()"):
    """What stands in the function's body after each fault of the kind."""
    text = f"namespace N {{\n{function} {{\n{body}\n}}\n}}\n"
    made = [m for m in mutants.Maker("F.cpp", text, NAMES).all() if m.kind == kind]
    begin, end = text.index("{\n", 14) + 2, len(text) - len("\n}\n}\n")
    changed = [text[:m.start] + m.text + text[m.end:] for m in made]
    return [" ".join(c[begin:len(c) - (len(text) - end)].split()) for c in changed]


class Faults(unittest.TestCase):
    def testACallIsDropped(self):
        self.assertEqual(faults("a(1); int b = c(); b = 2;", "call dropped"),
                         ["{} int b = c(); b = 2;", "a(1); int b = c(); {}"])

    def testACallInsideALambdaIsDropped(self):
        self.assertIn("run([&] { {} });", faults("run([&] { a(); });", "call dropped"))

    def testAConditionIsNegatedOrSettled(self):
        self.assertEqual(faults("if (a) b();", "condition negated"), ["if (!(a)) b();"])
        self.assertEqual(faults("if (a) b();", "branch always taken"), ["if (true) b();"])
        self.assertEqual(faults("if (a) b();", "branch skipped"), ["if (false) b();"])

    def testAConditionThatDeclaresKeepsItsName(self):
        self.assertEqual(faults("if (const auto x = f()) g(x); else h();", "condition negated"),
                         ["if (const auto x = f(); !x) g(x); else h();"])

    def testAnEarlyReturnIsSkipped(self):
        self.assertEqual(faults("if (a) return; b();", "early return skipped"),
                         ["if (false) return; b();"])
        self.assertEqual(faults("if (a) { b(); return; } c();", "early return skipped"),
                         ["if (false) { b(); return; } c();", "if (a) { b(); {} } c();"])

    def testTheLastReturnStays(self):
        self.assertEqual(faults("return a;", "early return skipped"), [])

    def testStatementsAreExchanged(self):
        self.assertEqual(faults("a(); if (b) c(); int d = 1; A& e = f;", "statements exchanged"),
                         ["if (b) c(); a(); int d = 1; A& e = f;"])

    def testALoopIsSkipped(self):
        self.assertEqual(faults("for (auto [a, b] : c) d(a);", "loop skipped"),
                         ["if (false) for (auto [a, b] : c) d(a);"])

    def testSignsAreChanged(self):
        self.assertEqual(faults("x = a && b;", "connective changed"), ["x = a || b;"])
        self.assertEqual(faults("x = a <= b;", "comparison changed"), ["x = a < b;"])
        self.assertEqual(faults("x = !a;", "negation dropped"), ["x = a;"])

    def testWhatIsNoComparisonStays(self):
        self.assertEqual(faults("std::vector<int> a; T&& b = f<T>(c); x = -> y;",
                                "comparison changed"), [])

    def testConstantsAreChanged(self):
        self.assertEqual(faults("f(true, 7, 1);", "constant changed"),
                         ["f(false, 7, 1);", "f(true, 8, 1);", "f(true, 7, 2);", "f(true, 7, 0);"])

    def testAChoiceIsExchanged(self):
        self.assertEqual(faults("return a ? b(1, 2) : c;", "choice exchanged"),
                         ["return a ? c : b(1, 2);"])

    def testANameIsExchangedWithItsCounterpartIfThereIsOne(self):
        self.assertEqual(faults("handleInclude(); addRoute(oldVlan); included();",
                                "name exchanged"),
                         ["handleExclude(); addRoute(oldVlan); included();",
                          "handleInclude(); delRoute(oldVlan); included();",
                          "handleInclude(); addRoute(newVlan); included();"])

    def testTextsAndCommentsStay(self):
        self.assertEqual(faults('// if (a) return 1;\nf("a && true ? 1 : 0", \'1\');',
                                "constant changed"), [])

    def testFunctionsAreNamed(self):
        source = Source("class A { int b = f(1); void g() const { h(); } };\n"
                        "A::~A() { i(); }\nA::A(int c) : c_(c) { j(); }\n")
        self.assertEqual([f.name for f in source.functions], ["g", "~A", "A"])

    def testEveryFaultIsOneChangeOfTheText(self):
        root = pathlib.Path(__file__).resolve().parent.parent.parent
        names = mutants.namesIn(root / "Pim", root / "platform")
        made = mutants.mutantsOf(root / "Pim", names)
        self.assertGreater(len(made), 1000)
        self.assertEqual(len({(m.file, m.start, m.end, m.text) for m in made}), len(made))
        for mutant in made:
            self.assertNotEqual(mutant.before, mutant.after)


class Listed(unittest.TestCase):
    def testAMutantIsListedByItsFunctionAndKindWhereverItStands(self):
        def keys(text):
            made = mutants.Maker("F.cpp", text, NAMES).all()
            return sorted(survivors.keysOf(made).values())
        self.assertEqual(keys("void f() { a(); }\n"), ["F.cpp: f: call dropped"])
        self.assertEqual(keys("// More.\n\nvoid f() {\n    a(\n);\n}\n"), ["F.cpp: f: call dropped"])
        self.assertEqual(keys("void f() { a(); int b = 0; c(b); }\n")[:2],
                         ["F.cpp: f: call dropped, 1 of 2", "F.cpp: f: call dropped, 2 of 2"])

    def testEveryReasonIsThatOfAMutantThatIsMade(self):
        root = pathlib.Path(__file__).resolve().parent.parent.parent
        made = mutants.mutantsOf(root / "Pim", mutants.namesIn(root / "Pim", root / "platform"))
        keys = survivors.keysOf(made)
        self.assertEqual(len(set(keys.values())), len(made))
        listed = survivors.read(pathlib.Path(__file__).with_name("survivors.txt"))
        self.assertEqual(sorted(set(listed) - set(keys.values())), [])

    def testASurvivorReadsBackAsItWasWritten(self):
        key = "F.cpp: f: call dropped, 2 of 3"
        text = "# A comment\n\n" + survivors.paragraph(key, "because " * 30) + "\n"
        with tempfile.TemporaryDirectory() as folder:
            path = pathlib.Path(folder) / "survivors.txt"
            path.write_text(text)
            read = survivors.read(path)
        self.assertEqual(read, {key: " ".join(["because"] * 30)})

    def testWhatIsMalformedIsRefused(self):
        with tempfile.TemporaryDirectory() as folder:
            path = pathlib.Path(folder) / "survivors.txt"
            for text in ("F.cpp: f: call dropped\n", "F.cpp: f\nbecause\n",
                         "F.cpp: f: call dropped\nbecause\n\n" * 2):
                path.write_text(text)
                self.assertRaises(ValueError, survivors.read, path)

    def testTheTablesCount(self):
        mutant = mutants.Mutant("F.cpp", "f", "call dropped", 0, 1, "", "a();", "{}")
        tables = report.tables([(mutant, "the model"), (mutant, "survived")])
        self.assertIn("| call dropped | 2 | 0 | 0 | 0 | 1 | 0 | 0 | 1 |", tables)
        self.assertIn("| `F.cpp` | 2 | 0 | 0 | 0 | 1 | 0 | 0 | 1 |", tables)


if __name__ == "__main__":
    unittest.main()
