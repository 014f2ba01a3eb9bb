"""Links of the pages lead somewhere, and the texts of docs/troubleshooting.md are texts of the program."""
import pathlib
import re
import unittest

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent


def pages():
    return [*ROOT.glob("*.md"), *ROOT.glob("docs/*.md"), *ROOT.glob("Examples/**/*.md")]


def prose(page):
    return re.sub(r"^```.*?^```", "", page.read_text(encoding="utf-8"), flags=re.MULTILINE | re.DOTALL)


def source_texts():
    """Everything between double quotes in the server's sources; neighbouring literals are joined as C++ does."""
    texts = []
    for source in ROOT.glob("Sources/WyvletMCP/**/*.cpp"):
        content = source.read_text(encoding="utf-8")
        texts += re.findall(r'R"\((.*?)\)"', content, re.DOTALL)
        content = re.sub(r'R"\((.*?)\)"', "", content, flags=re.DOTALL)
        content = re.sub(r'"\s*\n\s*"', "", content)
        for literal in re.findall(r'"((?:[^"\\\n]|\\.)*)"', content):
            texts.append(re.sub(r"\\(.)", lambda escape: {"n": "\n"}.get(escape[1], escape[1]), literal))
    return texts


class Pages(unittest.TestCase):
    def test_links_lead_somewhere(self):
        for page in pages():
            for target in re.findall(r"\]\(([^)\s]+)\)", prose(page)):
                if re.match(r"[a-z]+:", target):
                    continue
                path, _, anchor = target.partition("#")
                file = (page.parent / path) if path else page
                with self.subTest(page=page.name, link=target):
                    self.assertTrue(file.exists())
                    if anchor:
                        headings = re.findall(r"^#+ (.*)$", file.read_text(encoding="utf-8"), re.MULTILINE)
                        anchors = [re.sub(r"[^\w\- ]", "", heading.lower()).replace(" ", "-") for heading in headings]
                        self.assertIn(anchor, anchors)

    def test_http_page_has_every_route(self):
        table = (ROOT / "Sources/WyvletMCP/HTTP/HTTPRoutes.cpp").read_text(encoding="utf-8")
        page = (ROOT / "docs/http.md").read_text(encoding="utf-8")
        routes = re.findall(r'^    \{"([A-Z]+)", "([^"]*)", \w+(?:, "(wyvlet_\w+)")?', table, re.MULTILINE)
        self.assertGreaterEqual(len(routes), 20)
        rows = re.findall(r"^\| ([A-Z]+) \| `(/[^`]*)` \| (?:`(wyvlet_\w+)`)?", page, re.MULTILINE)
        self.assertEqual(routes, [(method, path.removesuffix("ID"), tool) for method, path, tool in rows])

    def test_troubleshooting_quotes_the_program(self):
        texts = source_texts()
        page = (ROOT / "docs/troubleshooting.md").read_text(encoding="utf-8")
        keys = re.findall(r"^### `(.*)`$", page, re.MULTILINE)
        self.assertGreater(len(keys), 50)
        for key in keys:
            # What stands before a text of its own, such as the tag of a log line, is not in the literal.
            bare = re.sub(r"^(\[(wyvlet|sim-bridge|http)\]|FAIL:|WyvletMCP:) ", "", key)
            wanted = [text.removesuffix("…").rstrip(" ") for text in (key, bare)]
            with self.subTest(text=key):
                self.assertTrue(any(text in literal for literal in texts for text in wanted), "no text of the program")


if __name__ == "__main__":
    unittest.main()
