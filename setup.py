"""Builds the compiled core of the Python package, with the library in it."""

import glob
import os

from pybind11.setup_helpers import Pybind11Extension, build_ext
from setuptools import setup

SOURCES = ["python/core.cpp", *(p for room in ("src", "playback", "preview") for p in sorted(glob.glob(room + "/*.cpp")))]

# TARVUTIL_SYSTEM_LIBRARY=1 links libTarvUtil.so and compiles only what is not in it.
SHARED = os.environ.get("TARVUTIL_SYSTEM_LIBRARY") == "1"
if SHARED:
    SOURCES = [p for p in SOURCES if not p.startswith("src/") or p == "src/NumberText.cpp"]

core = Pybind11Extension(
    "tarvutil._core",
    SOURCES,
    include_dirs=["include", "src", "playback", "preview"],
    libraries=["TarvUtil"] if SHARED else [],
    library_dirs=[p for p in [os.environ.get("TARVUTIL_LIBRARY_DIR")] if p],
    define_macros=[("TARVUTIL_VERSION", '"1.0.0"')],
    cxx_std=17,
    # The words come out the same, to the bit, with every build.
    extra_compile_args=["-ffp-contract=off", "-O2", "-g0"],
)

setup(ext_modules=[core], cmdclass={"build_ext": build_ext})
