// The model's errors as Python exceptions: tamble.Error and one subclass per
// class of the model, each carrying the model's text, code, source file and
// line; the host's refusals as tamble.HostError.
#include "api/errors.h"

#include <Python.h>

#include "apps/synth/options.h"
#include "apps/tamble/failure.h"
#include "python/bindings.h"

namespace tamble::py {
namespace {

struct errorClass {
  int code;             // the model's code; -1 for the host's refusals
  const char* name;     // in the module
  const char* builtin;  // a builtin base besides tamble.Error, or nullptr
  const char* doc;
};

constexpr errorClass modelClasses[] = {
    {zel::IndexError::standardCode, "IndexError", "IndexError",
     "An index out of range: a selection row, a marker number that must exist, a store size "
     "(the model's zel::IndexError, code 1)."},
    {zel::DimError::standardCode, "DimError", "ValueError",
     "Layers of different extents (the model's zel::DimError, code 2)."},
    {zel::FileError::standardCode, "FileError", "OSError",
     "A file that cannot be read or written, or is damaged (the model's zel::FileError, code 4)."},
    {zel::StateError::standardCode, "StateError", "RuntimeError",
     "A request that does not fit the present state (the model's zel::StateError, code 8)."},
    {zel::AlgoError::standardCode, "AlgoError", "RuntimeError",
     "A routine that cannot go on: an absent layer, a failed match (the model's "
     "zel::AlgoError, code 9)."},
    {-1, "HostError", "ValueError",
     "The host refused the call: an unknown command, key or image, a value out of range, a "
     "command not available now, a question nobody answered, an answer nobody asked for."}};

PyObject* baseError = nullptr;
PyObject* classes[std::size(modelClasses)] = {};

PyObject* classOf(int code) {
  for (std::size_t i = 0; i < std::size(modelClasses); ++i)
    if (modelClasses[i].code == code) return classes[i];
  return baseError;  // code 0 and any code the table does not know
}

// Raises `type(text)` with the model's fields as attributes.
void raiseWith(PyObject* type, const std::string& text, pyb::object code, pyb::object file,
               pyb::object line) {
  pyb::object error = pyb::reinterpret_borrow<pyb::object>(type)(text);
  error.attr("code") = std::move(code);
  error.attr("file") = std::move(file);
  error.attr("line") = std::move(line);
  PyErr_SetObject(type, error.ptr());
}

void translate(std::exception_ptr failure) {
  try {
    if (failure) std::rethrow_exception(failure);
  } catch (const zel::GenericError& e) {
    raiseWith(classOf(e.code), e.message, pyb::int_(e.code), pyb::str(e.file), pyb::int_(e.line));
  } catch (const cli::stepError& e) {
    raiseWith(classOf(-1), e.what(), pyb::none(), pyb::none(), pyb::none());
  } catch (const synth::optionError& e) {
    PyErr_SetString(PyExc_ValueError, e.what());
  }
}

PyObject* newClass(pyb::module_& m, const char* name, const char* doc, PyObject* bases) {
  const std::string qualified = std::string("tamble.") + name;
  PyObject* type = PyErr_NewExceptionWithDoc(qualified.c_str(), doc, bases, nullptr);
  if (!type) throw pyb::error_already_set();
  m.add_object(name, pyb::reinterpret_borrow<pyb::object>(type));
  return type;
}

}  // namespace

void bindErrors(pyb::module_& m) {
  baseError = newClass(m, "Error",
                       "An error of Tamble's image model, or (HostError) a refusal of the "
                       "host. `str(error)` is the model's text; `code`, `file` and `line` "
                       "are the model's code and the source position of the throw (None for "
                       "the host's refusals).",
                       nullptr);
  pyb::handle base(baseError);
  base.attr("code") = 0;
  base.attr("file") = pyb::none();
  base.attr("line") = pyb::none();
  const pyb::module_ builtins = pyb::module_::import("builtins");
  for (std::size_t i = 0; i < std::size(modelClasses); ++i) {
    const errorClass& c = modelClasses[i];
    pyb::tuple bases = pyb::make_tuple(base, builtins.attr(c.builtin));
    classes[i] = newClass(m, c.name, c.doc, bases.ptr());
    pyb::handle(classes[i]).attr("code") =
        c.code < 0 ? pyb::object(pyb::none()) : pyb::int_(c.code);
  }
  pyb::register_exception_translator(translate);
}

}  // namespace tamble::py
