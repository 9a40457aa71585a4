"""What the cases print: a ladder of messages for each, and the sum at the end."""

import sip_text

_WIDTH = 44
_LONGEST = 100


class Failure(Exception):
    """A case did not go as it must."""


def expect(condition, text):
    """Ends the case with this text unless the condition holds."""
    if not condition:
        raise Failure(text)


class Report:
    """Counts the cases and draws their ladders."""

    def __init__(self):
        self.passed = self.failed = 0

    def case(self, title, left, right, run):
        """Runs one case: a function without arguments that raises when it fails."""
        print(f"\n{title}\n  {left:<{_WIDTH}}{right:>12}", flush=True)
        try:
            run()
        except Exception as error:  # Whatever goes wrong in one case, the others still run; the sum tells of it.
            self.failed += 1
            print(f"  FAILED: {type(error).__name__}: {error}", flush=True)
        else:
            self.passed += 1
            print("  passed", flush=True)

    def to_right(self, message):
        self._arrow(message, "-", ">")

    def to_left(self, message):
        self._arrow(message, "<", "-")

    def note(self, text):
        print(f"  |  {text}", flush=True)

    def _arrow(self, message, first, last):
        label = f"{first}-- {sip_text.start_line(message).replace(' SIP/2.0', '').replace('SIP/2.0 ', '')} "
        print(f"  |{label:-<{_WIDTH + 8}}{last}|", flush=True)
        for name in ("Www-Authenticate", "Proxy-Authenticate", "Authorization", "Proxy-Authorization"):
            for value in sip_text.headers(message, name):
                line = f"{name}: {value}"
                print(f"  |     {line if len(line) <= _LONGEST else line[:_LONGEST] + '...'}", flush=True)

    def finish(self):
        """Prints the sum; the exit status of the program."""
        print(f"\n{self.passed} passed, {self.failed} failed", flush=True)
        return 1 if self.failed or not self.passed else 0
