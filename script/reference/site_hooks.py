"""What the site's generator does besides: names such as ChangeSaturationZVK are found by their words too."""
import json
import pathlib
import re

BREAK = "\u200b"  # shows as nothing; the search takes it for a blank


def on_post_build(config, **_):
    index = pathlib.Path(config["site_dir"]) / "search" / "search_index.json"
    content = json.loads(index.read_text())
    for section in content["docs"]:
        whole = re.match(r"\w+", section["title"])
        section["title"] = re.sub(r"(?<=[a-z])(?=[A-Z])", BREAK, section["title"])
        if whole:
            section["text"] += f" {whole[0]}"
    index.write_text(json.dumps(content))
