"""Builds the compiled core of the Python package, with the library in it.

TARVUTIL_SYSTEM_LIBRARY=1 links libTarvUtil.so instead and compiles only what is not in it; TARVUTIL_LIBRARY_DIR is where
the linker looks for it besides the usual places. TARVUTIL_INCLUDE_DIR is where headers are besides the usual places, among
them fast_float/fast_float.h, which src/NumberText.cpp needs with libc++.
"""

import os
import re
from glob import glob

from pybind11.setup_helpers import ParallelCompile, Pybind11Extension, build_ext
from setuptools import setup

with open("CMakeLists.txt", encoding="utf-8") as project:
    VERSION = re.findall(r"project\(TarvUtil VERSION ([0-9.]+)", project.read())[0]

ROOMS = ["src", "playback", "preview", "python/core"]
SOURCES = [path for room in ROOMS for path in sorted(glob(f"{room}/*.cpp"))] + ["tools/samebits/Lives.cpp"]

SHARED = os.environ.get("TARVUTIL_SYSTEM_LIBRARY") == "1"
if SHARED:
    SOURCES = [path for path in SOURCES if not path.startswith("src/") or path == "src/NumberText.cpp"]

# Where package managers put headers that no compiler finds by itself.
HEADERS = os.environ.get("TARVUTIL_INCLUDE_DIR", "").split()
HEADERS += [
    path
    for path in ("/opt/homebrew/include", "/usr/local/include", "/opt/local/include")
    if os.path.exists(f"{path}/fast_float/fast_float.h")
]

core = Pybind11Extension(
    "tarvutil._core",
    SOURCES,
    include_dirs=["include", *ROOMS, "tools/samebits", *HEADERS],
    libraries=["TarvUtil"] if SHARED else [],
    library_dirs=os.environ.get("TARVUTIL_LIBRARY_DIR", "").split(),
    define_macros=[("TARVUTIL_VERSION", f'"{VERSION}"')],
    cxx_std=17,
    # The words come out the same, to the bit, with every build.
    extra_compile_args=["-ffp-contract=off", "-O2"] + ([] if SHARED else ["-g0"]),
)

ParallelCompile("TARVUTIL_BUILD_JOBS").install()
setup(version=VERSION, ext_modules=[core], cmdclass={"build_ext": build_ext})
