# The Python module lumeno, built from this source tree by the project's own CMake build:
#   pip install --no-build-isolation .
# builds what the module needs in build-python/ (or in the build folder LUMENO_BUILD_DIR names,
# reusing what it has built) and installs the module. The Debian packages it needs are those of
# scripts/install-deps (pybind11-dev, python3-dev, cmake and the libraries).
import os
import shutil
import subprocess
import sys

from setuptools import Extension, setup
from setuptools.command.build_ext import build_ext

here = os.path.dirname(os.path.abspath(__file__))


class CMakeExtension(Extension):
    def __init__(self, name):
        super().__init__(name, sources=[])


class CMakeBuild(build_ext):
    def build_extension(self, ext):
        build = os.environ.get("LUMENO_BUILD_DIR") or os.path.join(here, "build-python")
        if not os.path.exists(os.path.join(build, "CMakeCache.txt")):
            subprocess.check_call([
                "cmake", "-S", here, "-B", build, "-DCMAKE_BUILD_TYPE=Release",
                "-DLUMENO_BUILD_TESTS=OFF", "-DLUMENO_BUILD_BENCH=OFF", "-DLUMENO_WINE=OFF",
                "-DPython_EXECUTABLE=" + sys.executable,
            ])
        jobs = str(os.cpu_count() or 1)
        subprocess.check_call(["cmake", "--build", build, "--target", "lumeno_python", "-j", jobs])
        built = [f for f in os.listdir(os.path.join(build, "python")) if f.startswith("lumeno.") and f.endswith(".so")]
        if len(built) != 1:
            raise RuntimeError("the build made no single lumeno module in " + os.path.join(build, "python"))
        target = self.get_ext_fullpath(ext.name)
        os.makedirs(os.path.dirname(target), exist_ok=True)
        shutil.copyfile(os.path.join(build, "python", built[0]), target)


# setuptools' own files stay out of the source tree, with the CMake build.
staging = os.path.join(here, "build-python")
os.makedirs(staging, exist_ok=True)

setup(
    name="lumeno",
    version="1.0.0",
    description="Read the EXIF, IPTC and XMP metadata of JPEG and TIFF photos, and edit their IPTC record",
    ext_modules=[CMakeExtension("lumeno")],
    cmdclass={"build_ext": CMakeBuild},
    zip_safe=False,
    options={"build": {"build_base": os.path.join(staging, "setuptools")}, "egg_info": {"egg_base": staging}},
    python_requires=">=3.9",
)
