"""The pages of the reference and of the recipes: what they show, and their commands run."""
import os
import pathlib
import re
import shutil
import subprocess
import tempfile

ROOT = pathlib.Path(__file__).resolve().parents[2]
REFERENCE = ROOT / "docs" / "reference"
RECIPES = ROOT / "docs" / "recipes"
INPUTS = REFERENCE / "inputs"
PICTURES = REFERENCE / "pictures"

FENCE = re.compile(r"^```(\w+)\n(.*?)^```\n", re.M | re.S)
PICTURE = re.compile(r"!\[([^]]*)\]\(([^)]+)\)")
HEADING = re.compile(r"^(#+) (.*)$", re.M)


class Page:
    """A page: its fenced blocks as (language, text, span of the text), and the pictures it shows."""

    def __init__(self, path):
        self.path = path
        self.text = path.read_text()
        self.blocks = [(m[1], m[2], m.span(2)) for m in FENCE.finditer(self.text)]
        self.prose = FENCE.sub("", self.text)
        self.shown = [path.parent / target for _, target in PICTURE.findall(self.prose)]

    @property
    def name(self):
        return self.path.relative_to(ROOT / "docs")

    def commands(self):
        """Each block of commands, with the output that the page shows and where that stands."""
        for i, (language, text, _) in enumerate(self.blocks):
            if language != "sh":
                continue
            shown = None
            if i + 1 < len(self.blocks) and self.blocks[i + 1][0] == "text":
                shown = self.blocks[i + 1][1:]
            yield text, shown

    def entries(self):
        """Heading and text of each entry, one per declaration."""
        parts = re.split(r"^## ", self.text, flags=re.M)[1:]
        for part in parts:
            heading, text = part.split("\n", 1)
            yield heading.strip("`"), text


def all_pages():
    return [Page(path) for folder in (REFERENCE, RECIPES) for path in sorted(folder.glob("*.md"))]


class Kitchen:
    """A folder with the inputs, in which a page's commands run with `zvk` as a command."""

    def __init__(self, zvk):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="zvk-pages-"))
        self.work = self.folder / "work"
        shutil.copytree(INPUTS, self.work)
        tool = self.folder / "bin" / "zvk"
        tool.parent.mkdir()
        tool.write_text("#!/bin/sh\nexec " + " ".join(f"'{word}'" for word in zvk) + " \"$@\"\n")
        tool.chmod(0o755)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        shutil.rmtree(self.folder)

    def run(self, commands):
        """Runs commands as a shell does; their output. RuntimeError when one fails."""
        environment = {**os.environ, "LC_ALL": "C.UTF-8", "TMPDIR": str(self.folder),
                       "PATH": f"{self.folder / 'bin'}:{os.environ['PATH']}"}
        result = subprocess.run(["sh", "-eu", "-c", commands], cwd=self.work, env=environment,
                                capture_output=True, text=True, check=False)
        if result.returncode != 0:
            raise RuntimeError(f"{commands.strip()}\n  gives {result.returncode}: {result.stderr}")
        return result.stdout
