"""Pages of docs/ that are made from the sources: one is written anew, or held against what the sources say."""


def keep(page, text, arguments, maker, count):
    """Writes `text` to the file `page` when asked to, else compares. Answers the exit code; `count` is told of a page
    that is as it should be."""
    if arguments == ["--write"]:
        page.write_text(text, encoding="utf-8")
        return 0
    if not page.exists() or page.read_text(encoding="utf-8") != text:
        print(f"docs/{page.name} is not what the sources say; run scripts/pages/{maker} --write")
        return 1
    print(f"{count}, all listed")
    return 0
