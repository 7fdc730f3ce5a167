"""The build step behind pyproject.toml: CMake configures the project and
builds the Python extension's target; setuptools packages python/mirvo/ around
it. The version is the CMake project's, so `mirvo.__version__` and the
package metadata agree with `mirvo --version`."""

import os
import re
import shutil
import subprocess
import sys
from pathlib import Path

from setuptools import Extension, setup
from setuptools.command.build_ext import build_ext

ROOT = Path(__file__).resolve().parent


def project_version():
    match = re.search(r"project\(mirvo VERSION ([0-9.]+)", (ROOT / "CMakeLists.txt").read_text())
    if not match:
        sys.exit("setup.py: no project(mirvo VERSION ...) in CMakeLists.txt")
    return match.group(1)


class CMakeExtension(Extension):
    """An extension CMake builds: `target`'s output in the build tree's package folder."""

    def __init__(self, name, target):
        super().__init__(name, sources=[])
        self.target = target


class CMakeBuild(build_ext):
    def build_extension(self, ext):
        build_dir = Path(self.build_temp).resolve() / "cmake"
        build_dir.mkdir(parents=True, exist_ok=True)
        configure = [
            "cmake", "-S", str(ROOT), "-B", str(build_dir),
            "-DCMAKE_BUILD_TYPE=Release",
            f"-DPython3_EXECUTABLE={sys.executable}",
            "-DMIRVO_BUILD_PYTHON=ON",
            "-DMIRVO_BUILD_TESTS=OFF",
            "-DMIRVO_BUILD_BENCH=OFF",
            "-DMIRVO_BUILD_FUZZ=OFF",
            "-DMIRVO_INSTALL=OFF",
        ]
        if shutil.which("ninja"):
            configure += ["-G", "Ninja"]
        subprocess.run(configure, check=True)
        jobs = os.environ.get("CMAKE_BUILD_PARALLEL_LEVEL", str(os.cpu_count() or 1))
        subprocess.run(["cmake", "--build", str(build_dir), "--target", ext.target, "-j", jobs], check=True)

        package = build_dir / "python" / "mirvo"
        built = [p for p in package.glob("_mirvo*.so")]
        if len(built) != 1:
            sys.exit(f"setup.py: expected one compiled _mirvo in {package}, found {len(built)}")
        dest = Path(self.get_ext_fullpath(ext.name))
        dest.parent.mkdir(parents=True, exist_ok=True)
        shutil.copy2(built[0], dest)
        shutil.copy2(package / "_version.py", dest.parent / "_version.py")


setup(
    version=project_version(),
    ext_modules=[CMakeExtension("mirvo._mirvo", target="mirvo_python")],
    cmdclass={"build_ext": CMakeBuild},
    zip_safe=False,
)
