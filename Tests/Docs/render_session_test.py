"""script/render-session, from recordings to pictures."""
import pathlib
import re
import subprocess
import sys
import unittest
import xml.etree.ElementTree

SCRIPT = pathlib.Path(__file__).resolve().parent.parent.parent / "script" / "render-session"
SVG = "{http://www.w3.org/2000/svg}"


def render(recording, *options):
    if isinstance(recording, str):
        recording = recording.encode()
    done = subprocess.run([sys.executable, SCRIPT, "-", *options], input=recording, capture_output=True, check=True)
    return xml.etree.ElementTree.fromstring(done.stdout.decode())


def texts(svg):
    """(column, line, text, attributes) of everything but the title, read back from the coordinates."""
    found = []
    for node in list(svg.iter(SVG + "text"))[1:]:
        column = round((float(node.get("x")) - 16) / 7.8)
        line = round((float(node.get("y")) - 61) / 18)
        found.append((column, line, node.text, {key: node.get(key) for key in node.keys() if key not in "xy"}))
    return found


def plain(svg):
    return [(column, line, text) for column, line, text, _ in texts(svg)]


class RenderSession(unittest.TestCase):
    def test_lines_and_columns(self):
        self.assertEqual([(0, 0, "one two"), (2, 1, "three"), (12, 1, "four")],
                         plain(render("one two\r\n  three     four\n\n")))

    def test_colours_and_weights(self):
        svg = render("\033[1mbold\033[0m \033[31mred\033[39m \033[38;5;46mgreen\033[38;2;1;2;255mblue\033[m plain")
        styles = {text.strip(): attributes for _, _, text, attributes in texts(svg)}
        self.assertEqual("700", styles["bold"]["font-weight"])
        self.assertEqual("#f0787d", styles["red"]["fill"])
        self.assertEqual("#00ff00", styles["green"]["fill"])
        self.assertEqual("#0102ff", styles["blue"]["fill"])
        self.assertNotIn("fill", styles["plain"])

    def test_background_and_inverse_are_painted(self):
        svg = render("\033[42mon green\033[0m\033[7minverse\033[0m")
        fills = [node.get("fill") for node in svg.iter(SVG + "rect")][1:]
        self.assertEqual(["#7fc98f", "#d7dce3"], fills)

    def test_carriage_return_overwrites_and_erases(self):
        self.assertEqual([(0, 0, "doneing")], plain(render("working\rdone")))
        self.assertEqual([(0, 0, "done")], plain(render("working\rdone\033[K")))
        self.assertEqual([(0, 0, "done")], plain(render("working\033[2K\rdone")))

    def test_long_lines_wrap(self):
        self.assertEqual([(0, 0, "abcd"), (0, 1, "ef")], plain(render("abcdef", "--columns", "4")))

    def test_wide_characters_take_two_columns(self):
        svg = render("漢字 \033[1mx\033[0m e\u0301y")
        self.assertEqual([(0, 0, "漢字"), (5, 0, "x"), (7, 0, "e\u0301y")], plain(svg))
        self.assertEqual([(0, 0, "a"), (0, 1, "漢")], plain(render("a漢", "--columns", "2")))

    def test_chosen_lines(self):
        self.assertEqual([(0, 0, "b"), (0, 1, "c")], plain(render("a\nb\nc\nd", "--lines", "2-3")))

    def test_what_is_no_text_is_left_out(self):
        self.assertEqual([(0, 0, "a<b>&\"c")], plain(render("\x00a\x07<b>\x7f&\"\033]0;title\007c\ufffe\033(B")))
        self.assertEqual([(0, 0, "x\ufffdy")], plain(render(b"x\xffy")))
        self.assertEqual([(0, 0, "end")], plain(render("\033[?25l\033[99mend\033[2A")))

    def test_every_style_code_is_borne(self):
        codes = "".join(f"\033[{code}m\033[38;{code}m\033[38;5;{code}m\033[48;2;{code}mx\033[0m\n" for code in range(300))
        self.assertEqual(["x"] * 300, [text for _, _, text, _ in texts(render(codes))])

    def test_title_is_text(self):
        svg = render("x", "--title", "a <b> \"c\"")
        self.assertEqual("a <b> \"c\"", next(svg.iter(SVG + "text")).text)
        self.assertEqual("a <b> \"c\"", svg.get("aria-label"))

    def test_empty_recording(self):
        self.assertEqual([], plain(render("")))

    def test_the_same_recording_gives_the_same_picture(self):
        done = [subprocess.run([sys.executable, SCRIPT, "-"], input=b"\033[1mx\033[0m y", capture_output=True,
                               check=True).stdout for _ in range(2)]
        self.assertEqual(done[0], done[1])
        self.assertTrue(re.match(rb"<svg ", done[0]))


if __name__ == "__main__":
    unittest.main()
