"""The numbers that the compiled core accepts: any other value is refused, and the message names it."""

from __future__ import annotations

import math
import operator
from typing import Union

import numpy as np
import numpy.typing as npt

Words = npt.NDArray[np.uint32]
Phases = npt.NDArray[np.float32]

INT32_MAX = 2**31 - 1


def single(name: str, value: float, endless: bool = False) -> float:
    """value, which must be finite in single precision; with endless it may also be infinite."""
    number = any_number(name, value)
    if endless and number == math.inf:
        return number
    if not abs(number) <= float(np.finfo(np.float32).max):
        raise ValueError(f"{name}: {value!r} is not a finite number in single precision")
    return number


def above_zero(name: str, value: float, endless: bool = False) -> float:
    number = single(name, value, endless)
    if not number > 0:
        raise ValueError(f"{name}: {value!r} is not above 0")
    return number


def zero_or_above(name: str, value: float) -> float:
    number = single(name, value)
    if number < 0:
        raise ValueError(f"{name}: {value!r} is below 0")
    return number


def whole(name: str, value: Union[int, float], low: int, high: int) -> int:
    """value, a whole number from low to high; 100.0 is one, too."""
    number = any_number(name, value)
    if not math.isfinite(number) or number != math.floor(number) or not low <= number <= high:
        raise ValueError(f"{name}: {value!r} is not a whole number from {low} to {high}")
    return int(number)


def milliseconds(name: str, value: Union[int, float]) -> int:
    """A time of the caller's clock, whole milliseconds of 64 bits."""
    try:
        number = operator.index(value)  # type: ignore[arg-type]
    except TypeError:
        given = any_number(name, value)
        if not given.is_integer():
            raise ValueError(f"{name}: {value!r} is not a whole number of milliseconds") from None
        number = int(given)
    if not -(2**63) <= number < 2**63:
        raise ValueError(f"{name}: {value!r} does not fit 64 bits")
    return number


def phase_array(phases: npt.ArrayLike) -> Phases:
    """An array of shape (n, 2): length_us, amplitude_ua."""
    array = np.asarray(phases)
    if array.ndim != 2 or array.shape[1] != 2:
        raise ValueError(f"phases: shape {array.shape} is not (n, 2): length_us, amplitude_ua")
    if array.dtype.kind not in "iuf":
        raise TypeError(f"phases: numbers are needed, not {array.dtype}")
    with np.errstate(over="ignore"):
        return np.ascontiguousarray(array, dtype=np.float32)


def word_array(words: npt.ArrayLike) -> Words:
    """A word array: whole numbers from 0 to 2**32 - 1 in one dimension."""
    array = np.asarray(words)
    if array.ndim == 0:
        raise TypeError(f"words: an array of 32-bit words is needed, not {words!r}")
    if array.size == 0:
        raise ValueError("words: there are no words")
    if array.ndim != 1:
        raise ValueError(f"words: shape {array.shape} is not (n,)")
    if array.dtype.kind not in "iu":
        raise TypeError(f"words: whole numbers are needed, not {array.dtype}")
    if array.size and not (array.min() >= 0 and array.max() < 2**32):
        raise ValueError("words: one of them does not fit 32 bits")
    return np.ascontiguousarray(array, dtype=np.uint32)


def same(asked: float, got: float) -> bool:
    """Equal, except for the rounding of single precision on the way into the pattern and back."""
    rounding = 1e-6  # of the value: its rounding, and that of a factor such as 1000
    return asked == got or (math.isfinite(got) and abs(asked - got) <= rounding * abs(asked))


def any_number(name: str, value: float, needed: str = "a number") -> float:
    """value as a float, infinite and NaN included."""
    if isinstance(value, (str, bytes, bool, np.bool_)) or (isinstance(value, np.ndarray) and value.ndim > 0):
        raise TypeError(f"{name}: {needed} is needed, not {value!r}")
    try:
        return float(value)
    except TypeError:
        raise TypeError(f"{name}: {needed} is needed, not {value!r}") from None
    except OverflowError:
        raise ValueError(f"{name}: {value!r} is not a finite number in single precision") from None
