#!/usr/bin/env python3
"""Keeps docs/sharp-edges.md in step with the Cautions of the headers.

sharpEdges.py          makes the page anew: the texts come from the headers, the ranks from the page as it is. A Caution
                       that the page does not have yet goes under "Not ranked": move its row by hand.
sharpEdges.py --check  says what differs, and which function of the ranks Memory and Silent loss does not warn on request,
                       and gives 1.
"""
import difflib
import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
PAGE = ROOT / "docs" / "sharp-edges.md"
RANKS = ["Memory", "Security", "Silent loss", "Surprise"]
WARNS = {"Memory", "Silent loss"}
UNRANKED = "Not ranked"


class Edge:
    def __init__(self, header, text, declaration):
        self.header, self.text, self.declaration = header, text, declaration
        found = re.search(r"\b(?:class|struct) (?:UTL_\w+(?:\([^)]*\))? )*(\w+)", declaration)
        self.is_type = bool(re.match(r"(?:class|struct|template|constexpr|namespace)\b", declaration)) or not declaration
        function = re.search(r"(~?\w+|operator[^\s(]+) ?\(", without_macros(declaration))
        self.name = "" if not declaration else found.group(1) if found and self.is_type else \
            function.group(1) if function else ""
        self.is_function = not self.is_type and not self.name.startswith("~")
        self.warns = "UTL_SHARP_EDGE(" in declaration

    def row(self):
        place = self.header if not self.name else f"{self.header}, {self.name}"
        text = self.text.replace("|", "\\|")
        return f"| {place} | {text} |"


def without_macros(declaration):
    return re.sub(r'UTL_SHARP_EDGE\("[^"]*"\)|UTL_PRINTF\([^)]*\)|UTL_API', "", declaration)


def edges_of(header):
    lines = header.read_text(encoding="utf8").split("\n")
    at = 0
    while at < len(lines):
        if not re.match(r"\s*//.*Caution:", lines[at]):
            at += 1
            continue
        text = lines[at].split("Caution:", 1)[1].strip()
        at += 1
        while at < len(lines):
            more = re.match(r"\s*///? ?(.*)", lines[at])
            if not more or not more.group(1).strip() or "Caution:" in lines[at] or \
                    re.match(r"\s*[A-Z]\w+(?:, \w+)*: ", more.group(1)):
                break
            text += " " + more.group(1).strip()
            at += 1
        end = at
        while end < len(lines) and re.match(r"\s*(//|template )", lines[end]):
            end += 1
        declaration = ""
        while end < len(lines) and lines[end].strip():
            declaration += " " + lines[end].strip()
            if re.search(r"[;{]", re.sub(r'"[^"]*"', "", lines[end])) or re.match(r"\s*(class|struct)\b", lines[end]):
                break
            end += 1
        yield Edge(header.name, text, declaration.strip())


def ranks_of(page):
    """The rank of each row of the page."""
    rank, found = UNRANKED, {}
    for line in page.split("\n"):
        if line.startswith("## "):
            rank = line[3:].strip()
        elif line.startswith("| Utl"):
            found[line] = rank
    return found


def rank_of(edge, known):
    if edge.row() in known:
        return known[edge.row()]
    rows = [row for row in known if row.startswith(f"| {edge.header}")]
    near = difflib.get_close_matches(edge.row(), rows, 1, 0.6)
    return known[near[0]] if near else UNRANKED


def main():
    edges = [edge for header in sorted((ROOT / "include").glob("*.h")) for edge in edges_of(header)]
    page = PAGE.read_text(encoding="utf8")
    known = ranks_of(page)
    ranked = [(edge, rank_of(edge, known)) for edge in edges]
    sections = re.split(r"(?m)^(?=## )", page)
    made = sections[0]
    for rank in RANKS + [UNRANKED]:
        rows = [edge.row() for edge, its_rank in ranked if its_rank == rank]
        words = [section for section in sections if section.startswith(f"## {rank}\n")]
        head = words[0].split("\n| ")[0].rstrip() if words else f"## {rank}"
        if rows or words:
            made += head + "\n\n| Where | The edge, and what to do instead |\n|---|---|\n" + "\n".join(rows) + "\n\n"
    made = made.rstrip("\n") + "\n"
    if "--check" not in sys.argv:
        PAGE.write_text(made, encoding="utf8")
        return 0
    found = [f"not ranked: {edge.row()}" for edge, rank in ranked if rank not in RANKS]
    found += [f"{edge.header}: {edge.name} is ranked \"{rank}\" and lacks UTL_SHARP_EDGE"
              for edge, rank in ranked if rank in WARNS and edge.is_function and not edge.warns]
    if made != page:
        found.append("docs/sharp-edges.md is not what tools/sharpEdges.py makes of the headers")
    print("\n".join(found))
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
