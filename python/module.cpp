// The extension module tamble._tamble; the package tamble re-exports it.
#include "python/bindings.h"

PYBIND11_MODULE(_tamble, m) {
  m.doc() =
      "Tamble's images, commands and projects in Python: a Session holds an images list, "
      "the plug-in and a parameter store.";
  tamble::py::bindErrors(m);
  tamble::py::bindSession(m);
  tamble::py::bindSynth(m);
}
