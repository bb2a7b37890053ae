# SPDX-License-Identifier: Apache-2.0
"""The changes that a mutation check makes to a source file, one at a time."""

import dataclasses
import re

TOKEN = re.compile(
    r"""
    (?P<comment>//[^\n]*|/\*.*?\*/|\[\[.*?\]\])
  | (?P<preprocessor>^[ \t]*\#(?:[^\n]*\\\n)*[^\n]*)
  | (?P<text>"(?:\\.|[^"\\\n])*"|'(?:\\.|[^'\\\n])*')
  | (?P<number>\b(?:0[xX][0-9a-fA-F']+|[0-9][0-9']*)[uUlL]*\b)
  | (?P<word>[A-Za-z_]\w*)
  | (?P<operator><=>|==|!=|<=|>=|&&|\|\||->|<<|>>|[-+*/%&|^!<>=?:;,.(){}\[\]~])
    """,
    re.VERBOSE | re.MULTILINE | re.DOTALL,
)

# Formatting puts blanks around comparisons and none inside template brackets, which tells them apart.
COMPARISONS = {"==": ["!="], "!=": ["=="], "<": ["<=", ">="], "<=": ["<", ">"], ">": [">=", "<="], ">=": [">", "<"]}
CONNECTIVES = {"&&": ["||"], "||": ["&&"]}
WORDS = {"true": ["false"], "false": ["true"]}

# What the kernel takes as readily as the right one.
EXCHANGED = {
    "SIGTERM": "SIGHUP",
    "SIGKILL": "SIGTERM",
    "SIGHUP": "SIGTERM",
    "SIGINT": "SIGTERM",
    "SIGPIPE": "SIGTERM",
    "SIGCHLD": "SIGTERM",
    "SIGXFSZ": "SIGTERM",
    "SIG_BLOCK": "SIG_UNBLOCK",
    "SIG_UNBLOCK": "SIG_BLOCK",
    "SIG_SETMASK": "SIG_BLOCK",
    "SIG_IGN": "SIG_DFL",
    "SIG_DFL": "SIG_IGN",
    "EINTR": "EAGAIN",
    "EAGAIN": "EINTR",
    "ENOENT": "EACCES",
    "EACCES": "ENOENT",
    "EEXIST": "ENOENT",
    "ENOSPC": "EIO",
    "EIO": "ENOSPC",
    "EPERM": "ESRCH",
    "ESRCH": "EPERM",
    "ECANCELED": "EAGAIN",
    "ECHILD": "EINTR",
    "ETIMEDOUT": "EAGAIN",
    "CLOCK_REALTIME": "CLOCK_MONOTONIC",
    "CLOCK_MONOTONIC": "CLOCK_REALTIME",
    "LOG_ERR": "LOG_DEBUG",
    "LOG_WARNING": "LOG_DEBUG",
    "LOG_NOTICE": "LOG_DEBUG",
}
FLAG = re.compile(r"[A-Z][A-Z0-9]*_[A-Z0-9_]+")
LARGEST_INT = 2**31 - 1

# Statements that end a path or declare nothing that runs.
UNMOVABLE = re.compile(r"(return|break|continue|case|default|using|static_assert|friend|public|private|else|do)\b|va_|.*= (delete|default);")


@dataclasses.dataclass(frozen=True)
class Mutant:
    file: str
    line: int
    source: str  # the line as it was, stripped
    operator: str
    change: str
    begin: int
    end: int
    replacement: str

    def apply(self, text):
        return text[: self.begin] + self.replacement + text[self.end :]

    def key(self):
        return (self.file, self.source, self.change)


def tokens(text):
    return [(m.lastgroup, m.group(), m.start(), m.end()) for m in TOKEN.finditer(text)]


def is_spaced(text, begin, end):
    return text[begin - 1 : begin].isspace() and text[end : end + 1].isspace()


def changed_numbers(number):
    """(operator, number): the next one, and where it may be a bound, ten times as much."""
    match = re.fullmatch(r"(0[xX][0-9a-fA-F']+|[0-9'']+)([uUlL]*)", number)
    digits, suffix = match.group(1).replace("'", ""), match.group(2)
    value = int(digits, 16 if digits[:2].lower() == "0x" else 8 if digits[0] == "0" else 10)
    yield "constant", f"{value + 1}{suffix}"
    if 1 < value <= LARGEST_INT // 10:
        yield "tenfold", f"{value * 10}{suffix}"


def sizes_a_buffer(text, begin):
    """A buffer with a byte to spare is no fault that anybody could see."""
    line = text[text.rfind("\n", 0, begin) + 1 : text.find("\n", begin)]
    return re.fullmatch(r"\s*(?:static |const )*[\w:]+ \*?\w+\[[^\]]*\](?: = \{\})?;.*", line) is not None


def is_ignored_flag(text, end):
    """The allocator's flags are accepted and ignored."""
    return re.match(r", (?:purpose|\")", text[end:]) is not None and "sch_malloc_check(" in text[end - 120 : end]


def token_changes(text):
    """(operator, begin, end, replacement) of each comparison, connective, negation, constant and name."""
    in_assertion = 0  # depth of a static_assert, which the compiler checks
    before = ""
    for kind, token, begin, end in tokens(text):
        if kind in ("comment", "preprocessor", "text"):
            continue
        if token == "static_assert":
            in_assertion = 1
        elif in_assertion and token == ";":
            in_assertion = 0
        elif not in_assertion:
            if kind == "operator" and is_spaced(text, begin, end) and before != "operator":
                for other in COMPARISONS.get(token, []):
                    yield "comparison", begin, end, other
                for other in CONNECTIVES.get(token, []):
                    yield "connective", begin, end, other
            elif token == "!" and before != ")":  # (void)! drops a result
                yield "negation", begin, end, ""
            elif kind == "number" and not sizes_a_buffer(text, begin) and not is_ignored_flag(text, end):
                for operator, number in changed_numbers(token):
                    yield operator, begin, end, number
            elif kind == "word":
                for other in WORDS.get(token, []):
                    yield "truth", begin, end, other
                if token in EXCHANGED:
                    yield "exchange", begin, end, EXCHANGED[token]
        before = token


# What any function may read.
GLOBALS = {"cli_debug", "debug_level", "scheduler_enabled", "sch_log_file", "email_transport_conf", "sch_schedule_list"}


def without_texts(statement):
    bare = re.sub(r'"(?:\\.|[^"\\])*"', "", statement)
    bare = re.sub(r"\bdecltype\([^()]*\)", "auto", bare)
    return re.sub(r"\b(?:static|reinterpret|const)_cast<[^()]*>|\bsizeof\b", "", bare)


# They name no thing that two statements could share.
WORDS_OF_THE_LANGUAGE = set(
    "auto bool char const constexpr else false if int int32_t int64_t nullptr return size_t ssize_t static std string string_view true "
    "uint32_t uint64_t uint8_t unsigned".split()
)


def words(statement):
    return set(re.findall(r"[A-Za-z_]\w*", without_texts(statement)))


def names(statement):
    return words(statement) - WORDS_OF_THE_LANGUAGE


# They look and answer, and change nothing.
PURE = set(
    "FieldText Reply add as back begin c_str complete contains count data decisive empty end entry_at find find_hint front get "
    "has_value is_enabled is_whole name_of rfind schedule_number substr to_string value word_for "
    " fragments_of g_list_first g_list_length holds htonl "
    "is_integer is_null is_string max min names_one normalize_day_of_month ntohl parameter size split_words status_entries "
    "stored_key string strlen strnlen text_parameter wcwidth".split()
)
# They read their arguments and change nothing that the program reads.
WRITERS = set("fprintf fputs printf putchar puts".split())
READ_ONLY = {"ctx"}
SETTERS = r"(?:std::)?(?:copy_at_most|copy_text|fill|memcpy|memset|snprintf|store_text)"  # change their first argument alone

SET = r"&?[\w.>\[\]-]+"

DECLARED_TYPES = r"(?:const )?(?:[a-z]+::)?(?:FieldText|Reply|string)"


def calls(statement):
    """Whether it may do something besides setting its target."""
    bare = re.sub(rf"^\s*({DECLARED_TYPES}) \w+\(", r"\1(", without_texts(statement))
    bare = re.sub(rf"^\s*{SETTERS}\((?={SET}, )", "c_str(", bare)
    called = set(re.findall(r"(\w+)\(", bare)) - PURE
    # What is never written to and has no value is there for what it does at its end.
    kept = re.match(r"\s*const ([\w:]+) \w+(?:\(.*\))?;", bare)
    is_guard = kept is not None and kept.group(1) not in WORDS_OF_THE_LANGUAGE
    return bool(called) or is_guard or re.search(r"\b(return|continue|break|errno)\b", bare) is not None


def calls_an_own_function(statement):
    """Which knows the members of its object."""
    called = set(re.findall(r"(?<![\w.>:])([a-z]\w*)\(", without_texts(statement)))
    return bool(called - PURE - {"if", "for", "while", "switch", "kill", "read", "sizeof"})


def target(statement):
    """What an assignment or a declaration sets, as it is written there; empty for anything else."""
    if plain := re.fullmatch(r"struct \w+ (\w+) ?\{\};", statement.strip()):  # one of C, all zeroes
        return plain.group(1)
    bare = re.sub(r"^if \(.*?\) (?=[\w>.-]+ = )", "", without_texts(statement).strip())
    set_by_call = re.match(rf"{SETTERS}\(&?([\w.>\[\]-]+),", bare)
    if set_by_call:
        return set_by_call.group(1)
    counted = re.fullmatch(r"(?:\+\+|--)([\w>.-]+);", bare)
    if counted:
        return counted.group(1)
    declared = re.match(rf"{DECLARED_TYPES} (\w+)\(", bare)
    if declared:
        return declared.group(1)
    left = re.split(r" [-+*/|&]?= |;|\{", bare, maxsplit=1)[0]
    match = re.fullmatch(r"(?:[\w:<>]+ )*[*&]?([A-Za-z_][\w.>\[\]-]*)", left)
    return match.group(1) if match else ""


def is_declaration(statement):
    return re.match(r"(?:const |static |constexpr )*(?!if\b)[\w:<>]+ [*&]?\w+(?: =|\[|;|\{|\()", statement.strip()) is not None


def only_shows(statement):
    shown = re.sub(r"^if \(.*?\) (?=std::|SCH_TRACE)", "", statement.strip())
    if shown.startswith(("SCH_TRACE", "trace_", "print_")) and "buffer" not in shown:
        return True
    writes = re.match(rf"std::(?:{'|'.join(WRITERS)})\(", shown) is not None
    return writes and not calls(re.sub(rf"\b({'|'.join(WRITERS)})\(", "c_str(", shown))


def is_plain_guard(statement):
    """It leaves, or does nothing."""
    found = re.fullmatch(r"if \((.*)\) (?:return(?: \w+)?|continue);", statement.strip())
    return found is not None and not calls(found.group(1))


# They leave with the same answer whichever stands first, where the second's condition can be asked at any time.
def leave_alike(first, second):
    one, other = GUARD.fullmatch(first.strip()), GUARD.fullmatch(second.strip())
    if one is None or other is None or first.strip()[one.end(1) :] != second.strip()[other.end(1) :]:
        return False
    acts = any(calls(condition) or re.search(r" = |\+\+|--", condition) for condition in (one.group(1), other.group(1)))
    return not acts and not may_go_wrong(other.group(1))


def may_go_wrong(expression):
    """By a null pointer, a place that is not there, or a division."""
    return re.search(r"->|\[|[/%]|(?:^|[(!]|\s)\*\w|front\(|back\(|value\(", expression) is not None


def sets_a_number_beside_a_guard(one, other, before):
    """A local value has no reader when the guard leaves, and setting it does nothing else."""
    found = re.fullmatch(r"([a-z]\w*) [-+*|&]?= ([^()]*);", one.strip())
    if found is None or not is_plain_guard(other) or found.group(1) in names(other) or may_go_wrong(found.group(2)):
        return False
    body = re.split(r"^(?=\S)", before, flags=re.MULTILINE)[-1]
    return re.search(rf"^ +(?:int|bool|(?:std::)?(?:size_t|u?int\d+_t|ptrdiff_t|time_t)) {found.group(1)} = ", body, re.MULTILINE) is not None


def mentions(statement, thing):
    return re.search(rf"(?<!\w){re.escape(thing)}(?!\w)", statement) is not None


def reads(statement, thing):
    """It, or all that it is a part of."""
    whole = re.split(r"\W", thing.lstrip("*&"))[0]
    return mentions(statement, thing) or re.search(rf"(?<![\w.>]){whole}(?!\w|\.|->|\[)", without_texts(statement)) is not None


def sets_what_the_other_ignores(one, other):
    set_here, set_there = target(one), target(other)
    if calls(one) or not set_here or re.split(r"\W", set_here)[0] in GLOBALS and calls(other):
        return False
    if only_shows(other):
        return re.split(r"\W", set_here)[0] not in names(other)
    if is_plain_guard(other):
        return is_declaration(one) and set_here not in names(other)
    if calls(other):
        if calls_an_own_function(other) and any(re.fullmatch(r"[a-z]\w*_", name) for name in names(one)):
            return False
        shared = names(one) & names(other) - READ_ONLY
        return not shared and not (may_go_wrong(one) and {"const"} <= words(one) & words(other))
    return not reads(other, set_here) and (not set_there or not reads(one, set_there))


def indentation(line):
    return len(line) - len(line.lstrip())


def is_statement(line):
    stripped = line.strip()
    return (
        stripped.endswith(";")
        and indentation(line) >= 2
        and not UNMOVABLE.match(stripped)
        and all(stripped.count(a) == stripped.count(b) for a, b in ("()", "{}", "[]"))
        and not stripped.startswith(("//", "}"))
    )


def starts_afresh(line):
    return line.strip() == "" or line.rstrip().endswith((";", "{", "}", ":")) or line.strip().startswith("//")


def declares_what_is_used(first, second):
    declared = re.match(r"(?:const |static |constexpr |struct )*[\w:<>]+ [*&]?(\w+)(?: =|\[|;| ?\{|\()", first.strip())
    return declared is not None and declared.group(1) in names(second)


# A function of a class, in its declaration: each parameter has a type and a name.
PARAMETER = r"(?:const )?[\w:<>]+ [*&]?\w+"
DECLARED_FUNCTION = re.compile(rf"(?:static )?(?:void|bool|int|[\w:]*Result<[\w:]+>) \w+\((?:{PARAMETER}(?:, {PARAMETER})*)?\)(?: const)?;")


def declares_a_function(statement):
    return DECLARED_FUNCTION.fullmatch(statement.strip()) is not None


def is_worth_swapping(first, second, before):
    """Otherwise nobody could see the order of the two, or it would not compile."""
    if declares_what_is_used(first, second) or declares_a_function(first) or declares_a_function(second) or leave_alike(first, second):
        return False
    if sets_a_number_beside_a_guard(first, second, before) or sets_a_number_beside_a_guard(second, first, before):
        return False
    return not sets_what_the_other_ignores(first, second) and not sets_what_the_other_ignores(second, first)


def swaps(text):
    """(begin, end, replacement) of each pair of neighbouring statements of one block."""
    lines = text.splitlines(keepends=True)
    offsets = [0]
    for line in lines:
        offsets.append(offsets[-1] + len(line))
    for n in range(1, len(lines) - 1):
        first, second = lines[n], lines[n + 1]
        if not (is_statement(first) and is_statement(second) and starts_afresh(lines[n - 1])):
            continue
        if indentation(first) == indentation(second) and is_worth_swapping(first, second, text[: offsets[n]]):
            yield offsets[n], offsets[n + 2], second + first


def dropped_flags(text):
    """(begin, end) of each flag with the bar before it, or for the first with the one behind."""
    found = [token for token in tokens(text) if token[0] not in ("comment", "preprocessor", "text")]
    for before, bar, after in zip(found, found[1:], found[2:]):
        if bar[1] == "|" and FLAG.fullmatch(before[1]) and FLAG.fullmatch(after[1]):
            yield before[3], after[3]
            if text[: before[2]].rstrip()[-1:] != "|":
                yield before[2], after[2]


CALL = re.compile(r"(?:\(void\)!?)?(?:[\w:]+(?:\[\w+\]|\(\))?(?:\.|->))*[\w:]+\(.*\);")
GUARD = re.compile(r"if \((.*)\) (?:return\b[^;]*|break|continue|throw\b[^;]*);")
SHOWN_ALONE = ("SCH_TRACE", "trace_", "static_assert", "static_cast")


def statements(text):
    """(begin, end, statement) of each that has a line for itself."""
    begin = 0
    for line in text.splitlines(keepends=True):
        stripped = line.strip()
        if is_statement(line):
            yield begin + indentation(line), begin + indentation(line) + len(stripped), stripped
        begin += len(line)


def left_out(text):
    """(operator, begin, end, replacement): a call is not made, or its answer does not count."""
    for begin, end, statement in statements(text):
        guard = GUARD.fullmatch(statement)
        if guard and "(" in guard.group(1) and " = " not in guard.group(1) and ";" not in guard.group(1):
            yield "result ignored", begin, end, f"static_cast<void>({guard.group(1)});"
        elif CALL.fullmatch(statement) and not statement.startswith(SHOWN_ALONE):
            yield "call left out", begin, end, ";"


def mutants(file, text):
    lines = text.splitlines()

    def mutant(operator, begin, end, replacement, change):
        number = text.count("\n", 0, begin) + 1
        return Mutant(file, number, lines[number - 1].strip(), operator, change, begin, end, replacement)

    def in_line(operator, begin, end, replacement):
        column = begin - (text.rfind("\n", 0, begin) + 1) - indent_of(lines, text, begin)
        change = f"{text[begin:end].strip()} becomes {replacement or 'nothing'} at column {column}"
        return mutant(operator, begin, end, replacement, change)

    for operator, begin, end, replacement in token_changes(text):
        yield in_line(operator, begin, end, replacement)
    for begin, end in dropped_flags(text):
        yield in_line("flag dropped", begin, end, "")
    for operator, begin, end, replacement in left_out(text):
        yield mutant(operator, begin, end, replacement, operator)
    # Of a header these would be declarations, whose order nobody sees.
    for begin, end, replacement in [] if file.endswith(".h") else swaps(text):
        yield mutant("swap", begin, end, replacement, "swapped with the next statement")


def indent_of(lines, text, begin):
    """Columns are counted from the line's first character, so that an indentation may change."""
    return indentation(lines[text.count("\n", 0, begin)])
