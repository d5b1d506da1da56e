"""How texts of the contract are written in mdoc and in the shells."""

import itertools
import re
import textwrap

INLINE = re.compile(r"""\s*(?P<open>\(?)
    (?:`(?P<code>[^`]+)`|\*(?P<argument>[^*]+)\*|\[(?P<section>[A-Z ]+)\])
    (?P<close>\)?)(?P<after>[.,;:]?)[ ]?""", re.VERBOSE)


class Mdoc:
    """The contract's markup in mdoc: `-u`, `a word`, `/a/path`, *argument*, [SECTION].
    Lines of mdoc may stand between."""

    def __init__(self, commands):
        self.commands = commands

    def text(self, text):
        """Each macro and each sentence begins a line, and no line is too long."""
        lines = []
        for is_mdoc, group in itertools.groupby(filter(None, text.splitlines()),
                                                lambda line: line.startswith(".")):
            if is_mdoc:
                lines += group
                continue
            for sentence in re.split(r"(?<=\.) (?=[A-Z`\[])", " ".join(group)):
                end = 0
                for match in INLINE.finditer(sentence):
                    lines += [sentence[end:match.start()], self._macro(match)]
                    end = match.end()
                lines.append(sentence[end:])
        return "\n".join(line if line.startswith(".") else textwrap.fill(line, 80)
                         for line in lines if line)

    def _macro(self, match):
        if match["section"]:
            macro = f"Sx {match['section']}"
        elif match["argument"]:
            macro = f"Ar {match['argument']}"
        else:
            macro = self._code(match["code"])
        parenthesis = "Pq " if match["open"] else ""
        return f".{parenthesis}{macro} {match['after']}".rstrip()

    def _code(self, code):
        if code.startswith("-"):
            return re.sub("^(-+)", lambda dashes: "Fl " * len(dashes[0]), code).replace('""', "Qq")
        if code.startswith("/"):
            return f"Pa {code}"
        if code.startswith("SIG"):
            return f"Dv {code}"
        if code == "errno":
            return f"Va {code}"
        if re.fullmatch(r"[\w-]+\(\d\)", code):
            return f"Xr {code[:-3]} {code[-2]}"
        if " " in code and code not in self.commands:
            return f"Ql {quoted(code)}"
        return f"Ic {code}" if code in self.commands else f"Cm {code}"


def quoted(text):
    """As one argument of a macro. A hyphen stays one, so that a reader can search for it."""
    return '"' + text.replace("-", r"\-").replace('"', r"\(dq") + '"'


def mdoc_message(text):
    """A printf format as the rest of an .It line."""
    words, parts = [], re.split(r"%(?:0\d)?([sdx])", text.rstrip())
    for index, part in enumerate(parts):
        if index % 2:
            words.append({"s": "Ar text" if parts[0] else "Ar function", "d": "Ar number",
                          "x": "Ar digits"}[part])
        elif part:
            words += ["Ns"] * (index > 0 and part[0] != " ")
            literal, colon = re.fullmatch(r" ?(.*?)(:?) ?", part).groups()
            words.append(f"Li {quoted(literal)}" if literal else r"Li \&")
            words += [colon] * bool(colon)
        if index % 2 == 0 and index + 1 < len(parts):
            words += ["Ns"] * (part != "" and part[-1] != " ")
    return " ".join(words)


def mdoc_synopsis(command):
    """Arguments such as "{-u uuid | -a} [-o file]" as the rest of an .It line."""
    literals = {value for word in command["words"] for value in word["values"]}
    groups = {"[": "Oo", "]": "Oc", "{": "Bro", "}": "Brc"}
    words, macro = [], None
    for token in re.findall(r"[][{}|]|[^][{}| ]+", command["synopsis"]):
        if token in groups:
            words.append(groups[token])
            macro = None
        elif token == "|":
            words.append(token)
        else:
            kind = "Fl" if token.startswith("-") else "Cm" if token in literals else "Ar"
            words += [kind] if kind != macro else []
            words.append(token.removeprefix("-"))
            macro = kind
    return "".join(f" {word}" for word in words)


def duration(seconds):
    for unit, size in (("hours", 3600), ("minutes", 60)):
        if seconds >= size:
            return f"{seconds // size} {unit}"
    return f"{seconds} seconds"


def shell_quoted(text):
    """In single quotes, in which bash and zsh know no escape."""
    return "'" + text.replace("'", "'\\''") + "'"


def fish_quoted(text):
    """In single quotes, in which fish escapes the quote and the backslash."""
    return "'" + text.replace("\\", "\\\\").replace("'", "\\'") + "'"


def shell_rows(rows):
    return "\n".join("    " + shell_quoted("|".join(row)) for row in rows)


def fish_rows(rows):
    return " \\\n".join("    " + fish_quoted("|".join(row)) for row in rows)


def zsh_specification(option):
    """The option as zsh's _arguments takes it."""
    letter, name = option["letter"], option["name"]
    # After the help option nothing makes sense any more.
    excluded = "(- *)" if letter == "h" else f"(-{letter} --{name})"
    end = f"[{option['summary']}]"
    if not option["argument"]:
        return f"{shell_quoted(excluded)}{{-{letter},--{name}}}{shell_quoted(end)}"
    choices = " ".join(f'{value}\\:"{meaning}"' for value, meaning in option["choices"].items())
    action = {"file": "_files", "socket": '_files -g "*(=)"'}.get(
        option["type"], f"(({choices}))" if choices else " ")
    end += f":{option['argument']}:{action}"
    return f"{shell_quoted(excluded)}{{-{letter}+,--{name}=}}{shell_quoted(end)}"


def fish_values(option):
    """What tells fish which values the option has."""
    if not option["argument"]:
        return ""
    if option["type"] in ("file", "socket"):
        return {"file": " -rF", "socket": " -xa '(__trel_tool_sockets)'"}[option["type"]]
    return f" -x -a '(__trel_tool_values {option['letter']})'" if option["choices"] else " -x"
