"""Many mutants of one source in one program: the body of each function becomes a choice between its
mutants and itself, and a variable of the environment says which mutant is chosen."""
import re

VARIABLE = "IRBMC_MUTANT"

# The source that holds the choice; it is linked to the others.
CHOICE = f"""#include <cstdlib>
extern int chosenMutant;
int chosenMutant = std::getenv("{VARIABLE}") ? std::atoi(std::getenv("{VARIABLE}")) : 0;
"""


def bodyAround(source, mutant):
    """The function whose body, between its braces, holds the whole mutant; or None."""
    for function in source.functions:
        begin = source.tokens[function.begin].end
        end = source.tokens[function.end - 1].start
        if begin <= mutant.start and mutant.end <= end:
            return function
    return None


def text(file, source, mutants):
    """The source with the mutants, which are given by their numbers, in it. Each stands in lines
    that call themselves a file of its own, so that the compiler says which of them is wrong."""
    bodies = {}
    for number, mutant in mutants.items():
        bodies.setdefault(bodyAround(source, mutant).begin, []).append((number, mutant))
    whole, at = "extern int chosenMutant;\n", 0
    for function in source.functions:
        if function.begin not in bodies:
            continue
        begin = source.tokens[function.begin].end
        end = source.tokens[function.end - 1].start
        whole += source.text[at:begin] + "switch (::chosenMutant) {"
        for number, mutant in bodies[function.begin]:
            body = source.text[begin:mutant.start] + mutant.text + source.text[mutant.end:end]
            whole += f'\ncase {number}: {{\n#line 1 "mutant-{number}"\n{body}\n}} break;'
        whole += f'\ndefault: {{\n#line 1 "{file}"\n{source.text[begin:end]}\n}} }}'
        at = end
    return whole + source.text[at:]


def wrongOnes(messages):
    """The numbers of the mutants that a compiler's messages complain about: where an error is, or
    where the code that has it was called for."""
    wrong = set()
    for part in re.split(r"(?m)^(?=.*?: (?:fatal )?error: )", messages):
        found = re.search(r"mutant-(\d+)", part)
        if found and "error: " in part:
            wrong.add(int(found[1]))
    return wrong
