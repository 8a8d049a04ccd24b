"""Reads the tables of a TOML file key by key; whatever does not fit is a mistake with its key and its reason."""
import re
import tomllib

IDENTIFIER = re.compile(r"[A-Za-z_][A-Za-z0-9_]*\Z")
REQUIRED = object()


class Mistake(Exception):
    """What is wrong, and where: the path of the key, or what else leads there. `file` where it is another one's."""

    def __init__(self, key, reason, file=None):
        super().__init__(f"{key}: {reason}" if key else reason)
        self.file = file


class Table:
    """A table whose keys are taken one after another; as a context it refuses the keys that nobody has taken."""

    def __init__(self, key, content):
        if not isinstance(content, dict):
            raise Mistake(key, "must be a table")
        self.key = key
        self._left = dict(content)

    def __enter__(self):
        return self

    def __exit__(self, failure, *_):
        if failure is None and self._left:
            raise Mistake(self.path(next(iter(self._left))), "unknown key")

    def path(self, name):
        return f"{self.key}.{name}" if self.key else name

    def take(self, name, default=REQUIRED):
        if name not in self._left and default is REQUIRED:
            raise Mistake(self.path(name), "missing")
        return self._left.pop(name, default)

    def number(self, name, low, high, default=REQUIRED):
        value = self.take(name, default)
        if type(value) is not int:  # a bool is an int, too
            raise Mistake(self.path(name), f"must be a number, not {value!r}")
        if not low <= value <= high:
            raise Mistake(self.path(name), f"{value:#x} is outside {low:#x} to {high:#x}")
        return value

    def text(self, name, default=REQUIRED):
        value = self.take(name, default)
        if not isinstance(value, str) or re.search(r'[\n\r\t\\]|\*/', value):
            raise Mistake(self.path(name), f"must be a text of one line without backslashes, not {value!r}")
        return value

    def log_name(self, name):
        value = self.text(name)
        if not value or not value.isascii() or '"' in value:
            raise Mistake(self.path(name), f"must be ASCII letters for the log, without quotes, not {value!r}")
        return value

    def identifier(self, name, default=REQUIRED):
        value = self.text(name, default)
        if value != default and not IDENTIFIER.match(value):
            raise Mistake(self.path(name), f"{value!r} is no identifier of C")
        return value

    def flag(self, name):
        value = self.take(name)
        if not isinstance(value, bool):
            raise Mistake(self.path(name), f"must be true or false, not {value!r}")
        return value

    def choice(self, name, known, default=REQUIRED):
        value = self.take(name, default)
        if value not in known:
            raise Mistake(self.path(name), f"unknown kind {value!r}; known: {', '.join(map(str, known))}")
        return value

    def table(self, name):
        return Table(self.path(name), self.take(name))

    def tables(self, name):
        """The tables below a table, each with its own name: `[tags.ButtonState]`."""
        content = self.take(name)
        if not isinstance(content, dict) or not content:
            raise Mistake(self.path(name), "must hold tables")
        for below, rows in content.items():
            if not IDENTIFIER.match(below):
                raise Mistake(self.path(name), f"{below!r} is no identifier of C")
            yield below, Table(f"{self.path(name)}.{below}", rows)

    def rows(self, name="rows"):
        content = self.take(name)
        if not isinstance(content, list) or not content:
            raise Mistake(self.path(name), "must be a list of rows")
        return [Table(f"{self.path(name)}[{i}]", row) for i, row in enumerate(content)]


def load(path):
    with open(path, "rb") as file:
        try:
            return Table("", tomllib.load(file))
        except (tomllib.TOMLDecodeError, UnicodeDecodeError) as error:
            raise Mistake("", f"not readable as TOML: {error}") from error
