"""What the small results have in common."""

from __future__ import annotations

import dataclasses
from typing import Any, Dict

import numpy as np


class Record:
    """A result: a dataclass whose fields are plain values, arrays, other results, or lists of them."""

    def to_dict(self) -> Dict[str, Any]:
        """The same as plain numbers, texts and lists, by the names of the fields; results in it are dictionaries."""
        return {field.name: _plain(getattr(self, field.name)) for field in dataclasses.fields(self)}


def _plain(value: Any) -> Any:
    if isinstance(value, Record):
        return value.to_dict()
    if isinstance(value, list):
        return [_plain(item) for item in value]
    return value.tolist() if isinstance(value, np.ndarray) else value
