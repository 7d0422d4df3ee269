"""Objects that have the attributes of their class and no others, so that a misspelt name is not taken for a new one."""

from __future__ import annotations

import difflib
from typing import TYPE_CHECKING, Iterable, List


class Guarded:
    """A class whose attributes are those that it lists in __slots__.

    To assign another one raises AttributeError with the names near it. A class derived without __slots__ has attributes
    of its own.
    """

    __slots__ = ()

    # Type checkers would take these for leave to use any name.
    if not TYPE_CHECKING:

        def __setattr__(self, name, value):
            try:
                object.__setattr__(self, name, value)
            except AttributeError:
                if hasattr(type(self), name):
                    raise
                raise AttributeError(
                    f"{name}: not an attribute of {type(self).__name__}{near(name, _public(type(self)))}"
                ) from None

        def __getattr__(self, name):
            if any(name in vars(kind).get("__slots__", ()) for kind in type(self).__mro__):
                raise RuntimeError(f"{type(self).__name__}: its __init__ did not call super().__init__")
            return object.__getattribute__(self, name)  # raises as usual


def near(name: str, names: Iterable[str]) -> str:
    """The end of a message about a name that does not exist: the names that may be meant, or nothing."""
    lower = name.lower()
    found: List[str] = difflib.get_close_matches(lower, list(names), cutoff=0.65)
    found += [other for other in names if len(lower) > 2 and other.startswith(lower) and other not in found]
    return f"; near it: {', '.join(found)}" if found else ""


def _public(kind: type) -> List[str]:
    return [name for name in dir(kind) if not name.startswith("_") and not callable(getattr(kind, name))]
