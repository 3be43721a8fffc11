// Images by name: their layers as NumPy views without a copy, markers as a
// structured array, new images from arrays, image files in and out.
#include <pybind11/numpy.h>
#include <pybind11/stl.h>
#include <pybind11/stl/filesystem.h>

#include <cstring>
#include <filesystem>

#include "apps/tamble/failure.h"
#include "apps/tamble/steps.h"
#include "python/bindings.h"

namespace tamble::py {

// One marker as a row of a structured array (tamble.MARKER_DTYPE).
struct markerRow {
  double x, y, z, f;
  bool active;
  std::int32_t id;
};

namespace {

template <class T>
const char* dtypeName() {
  return std::is_same_v<T, float> ? "float32" : "bool";
}

std::string shapeText(const pyb::array& a) {
  std::string text = "(";
  for (pyb::ssize_t i = 0; i < a.ndim(); ++i) text += (i ? ", " : "") + std::to_string(a.shape(i));
  return text + (a.ndim() == 1 ? ",)" : ")");
}

// The array an argument must be: 2-D, of T's dtype, C-contiguous, and (when
// `height` is not negative) of that shape. A clear TypeError or ValueError
// otherwise; nothing is converted silently.
template <class T>
pyb::array_t<T> checkedArray(const char* what, pyb::handle given, pyb::ssize_t height = -1,
                             pyb::ssize_t width = -1) {
  if (!pyb::isinstance<pyb::array>(given))
    throw pyb::type_error(std::string(what) + " must be a numpy.ndarray of " + dtypeName<T>() +
                          "; got " + std::string(pyb::str(given.get_type().attr("__name__"))));
  const pyb::array a = pyb::reinterpret_borrow<pyb::array>(given);
  if (!pyb::array_t<T>::check_(a))  // the same type and byte order
    throw pyb::type_error(std::string(what) + " must be " + dtypeName<T>() + "; got " +
                          std::string(pyb::str(a.dtype())) + " (convert it with .astype(numpy." +
                          (std::is_same_v<T, float> ? "float32" : "bool_") + "))");
  if (a.ndim() != 2)
    throw pyb::value_error(std::string(what) + " must be 2-D (height, width); got shape " +
                           shapeText(a));
  if (!(a.flags() & pyb::array::c_style))
    throw pyb::value_error(std::string(what) +
                           " must be C-contiguous (rows one after the other); got a strided "
                           "view (make a copy with numpy.ascontiguousarray)");
  if (height >= 0 && (a.shape(0) != height || a.shape(1) != width))
    throw pyb::value_error(std::string(what) + " must have the image's shape (" +
                           std::to_string(height) + ", " + std::to_string(width) + "); got " +
                           shapeText(a));
  return pyb::reinterpret_borrow<pyb::array_t<T>>(given);
}

template <class T>
void copyInto(zel::arrayStore<T, 2>& layer, const pyb::array_t<T>& values) {
  if (layer.count)
    std::memcpy(static_cast<void*>(layer.data), values.data(), layer.count * sizeof(T));
}

// A view of the layer that writes go through; the block stays alive as long
// as the view, even when the image lets go of it.
template <class T>
pyb::array viewOf(const std::shared_ptr<core>& owner, zel::arrayStore<T, 2>& layer) {
  const std::vector<pyb::ssize_t> shape{layer.height(), layer.width()};
  if (!layer.data) return pyb::array_t<T>(shape);
  owner->lend(layer);
  auto* loan = new std::pair<std::shared_ptr<core>, void*>(owner, layer.data);
  pyb::capsule keeper(loan, [](void* p) {
    auto* held = static_cast<std::pair<std::shared_ptr<core>, void*>*>(p);
    held->first->giveBack(held->second);
    delete held;
  });
  const std::vector<pyb::ssize_t> strides{static_cast<pyb::ssize_t>(layer.width() * sizeof(T)),
                                          static_cast<pyb::ssize_t>(sizeof(T))};
  return pyb::array_t<T>(shape, strides, layer.data, keeper);
}

// Reads or changes the image `h` names, under the session's lock.
template <class Work>
auto withImage(const imageHandle& h, Work&& work) {
  std::unique_lock<std::mutex> lock(h.shared->busy, std::defer_lock);
  {
    pyb::gil_scoped_release released;
    lock.lock();
  }
  h.shared->settle();
  return work(h.shared->session().image(h.name));
}

template <class T>
pyb::array layerView(const imageHandle& h, zel::arrayStore<T, 2>& (zel::image::*layer)()) {
  return withImage(h, [&](zel::image& img) { return viewOf(h.shared, (img.*layer)()); });
}

template <class T>
void setLayer(const imageHandle& h, zel::arrayStore<T, 2>& (zel::image::*layer)(), const char* what,
              pyb::handle values) {
  withImage(h, [&](zel::image& img) {
    copyInto((img.*layer)(), checkedArray<T>(what, values, img.height(), img.width()));
    return 0;
  });
}

pyb::array markersOf(const zel::markersArray& markers) {
  pyb::array_t<markerRow> rows(static_cast<pyb::ssize_t>(markers.count()));
  markerRow* out = rows.mutable_data();
  for (const marker& m : markers.items) *out++ = {m.x, m.y, m.z, m.f, m.active, m.id};
  return rows;
}

// Any structured array with the fields x and y; z, f, active and id are
// taken where present (ids of 0 are numbered on, as the model adds markers).
zel::markersArray markersFrom(pyb::handle given) {
  if (!pyb::isinstance<pyb::array>(given) ||
      !pyb::hasattr(pyb::reinterpret_borrow<pyb::array>(given).dtype(), "names") ||
      pyb::reinterpret_borrow<pyb::array>(given).dtype().attr("names").is_none())
    throw pyb::type_error("markers must be a structured numpy array (tamble.MARKER_DTYPE)");
  const pyb::array a = pyb::reinterpret_borrow<pyb::array>(given);
  if (a.ndim() != 1) throw pyb::value_error("markers must be 1-D; got shape " + shapeText(a));
  const pyb::tuple names = a.dtype().attr("names");
  auto has = [&](const char* n) { return names.contains(n); };
  if (!has("x") || !has("y")) throw pyb::value_error("markers need the fields x and y");
  const pyb::ssize_t n = a.shape(0);
  // A field's values as doubles, or `absent` for each marker.
  auto column = [&](const char* name, double absent) {
    if (!has(name)) return std::vector<double>(static_cast<std::size_t>(n), absent);
    return pyb::array_t<double, pyb::array::c_style | pyb::array::forcecast>(a[name])
        .cast<std::vector<double>>();
  };
  const auto x = column("x", 0), y = column("y", 0), z = column("z", 0), f = column("f", 0);
  const auto active = column("active", 1), id = column("id", 0);
  zel::markersArray out;
  for (std::size_t i = 0; i < x.size(); ++i) {
    marker m;
    m.x = x[i], m.y = y[i], m.z = z[i], m.f = f[i];
    m.active = active[i] != 0;
    m.id = static_cast<int>(id[i]);
    out.add(m);
  }
  return out;
}

std::string pathText(const std::filesystem::path& p) { return p.string(); }

}  // namespace

void bindImages(pyb::module_& m, pyb::class_<sessionHandle>& session) {
  PYBIND11_NUMPY_DTYPE(markerRow, x, y, z, f, active, id);
  m.attr("MARKER_DTYPE") = pyb::dtype::of<markerRow>();

  pyb::class_<imageHandle>(m, "Image",
                           "An image of a session, found by its name at each use. The layers "
                           "are NumPy views of the image's own memory: a write through them "
                           "changes the image.")
      .def_property_readonly(
          "name", [](const imageHandle& h) { return h.name; },
          "The image's name (that of its field layer).")
      .def_property_readonly(
          "shape",
          [](const imageHandle& h) {
            return withImage(
                h, [](zel::image& img) { return pyb::make_tuple(img.height(), img.width()); });
          },
          "(height, width), as the layers' arrays have it.")
      .def_property_readonly("width",
                             [](const imageHandle& h) {
                               return withImage(h, [](zel::image& img) { return img.width(); });
                             })
      .def_property_readonly("height",
                             [](const imageHandle& h) {
                               return withImage(h, [](zel::image& img) { return img.height(); });
                             })
      .def_property(
          "field", [](const imageHandle& h) { return layerView(h, &zel::image::field); },
          [](const imageHandle& h, pyb::handle v) { setLayer(h, &zel::image::field, "field", v); },
          "The values, a float32 view (height, width); assigning an array copies it in.")
      .def_property(
          "bkgr", [](const imageHandle& h) { return layerView(h, &zel::image::bkgr); },
          [](const imageHandle& h, pyb::handle v) { setLayer(h, &zel::image::bkgr, "bkgr", v); },
          "The background mask, a bool view: True excludes the pixel.")
      .def_property(
          "roi", [](const imageHandle& h) { return layerView(h, &zel::image::ROI); },
          [](const imageHandle& h, pyb::handle v) { setLayer(h, &zel::image::ROI, "roi", v); },
          "The region of interest, a bool view: True includes the pixel.")
      .def_property(
          "markers",
          [](const imageHandle& h) {
            return withImage(h, [](zel::image& img) { return markersOf(img.markers); });
          },
          [](const imageHandle& h, pyb::handle given) {
            zel::markersArray markers = markersFrom(given);
            withImage(h, [&](zel::image& img) {
              img.markers.items = std::move(markers.items);
              return 0;
            });
          },
          "The markers, a copy as a structured array of tamble.MARKER_DTYPE (x, y, z, f, "
          "active, id); assign such an array to replace them.")
      .def_property_readonly(
          "file",
          [](const imageHandle& h) {
            return withImage(h, [](zel::image& img) { return img.fileInfo.name; });
          },
          "The file the image came from or will be saved as.")
      .def("__repr__", [](const imageHandle& h) { return "<tamble.Image '" + h.name + "'>"; });

  session
      .def(
          "images",
          [](const sessionHandle& h) {
            std::vector<std::string> names;
            withSession(*h.shared, [&](cli::session& s) {
              for (int i = 0; i < s.list.size(); ++i) names.push_back(s.list[i]->fieldName());
            });
            return names;
          },
          "The names of the images, in the list's order.")
      .def(
          "image",
          [](const sessionHandle& h, const std::string& name) {
            bool found = false;
            withSession(*h.shared, [&](cli::session& s) { found = s.list.find(name) != nullptr; });
            if (!found) throw pyb::key_error("no image named '" + name + "'");
            return imageHandle{h.shared, name};
          },
          pyb::arg("name"), "The image named `name`; KeyError when there is none.")
      .def_property_readonly(
          "current",
          [](const sessionHandle& h) -> std::optional<imageHandle> {
            std::string name;
            withSession(*h.shared, [&](cli::session& s) {
              if (const zel::image* img = s.list.current()) name = img->fieldName();
            });
            if (name.empty()) return std::nullopt;
            return imageHandle{h.shared, name};
          },
          "The current image (the one commands work on), or None.")
      .def(
          "select",
          [](const sessionHandle& h, const std::string& name) {
            cli::stepArgs a;
            a.name = name;
            withSession(*h.shared, [&](cli::session& s) { cli::selectStep(s, a); });
            return imageHandle{h.shared, name};
          },
          pyb::arg("name"), "Makes the image `name` the current one, which commands work on.")
      .def(
          "add_image",
          [](const sessionHandle& h, const std::string& name, pyb::handle field, pyb::handle bkgr,
             pyb::handle roi) {
            const auto values = checkedArray<float>("field", field);
            const pyb::ssize_t height = values.shape(0), width = values.shape(1);
            std::optional<pyb::array_t<bool>> background, region;
            if (!bkgr.is_none()) background = checkedArray<bool>("bkgr", bkgr, height, width);
            if (!roi.is_none()) region = checkedArray<bool>("roi", roi, height, width);
            withSession(*h.shared, [&](cli::session& s) {
              s.checkNewName(name);
              auto img =
                  std::make_unique<zel::image>(static_cast<int>(width), static_cast<int>(height));
              img->setFieldName(name);
              img->fileInfo.name = name + ".tif";
              copyInto(img->field(), values);
              if (background) copyInto(img->bkgr(), *background);
              if (region) copyInto(img->ROI(), *region);
              s.addImage(std::move(img), "add " + name);
            });
            return imageHandle{h.shared, name};
          },
          pyb::arg("name"), pyb::arg("field"), pyb::arg("bkgr") = pyb::none(),
          pyb::arg("roi") = pyb::none(),
          "Adds an image made from a copy of `field` (2-D, float32, C-contiguous) and of the "
          "masks when given (bool, the same shape; else no background and the whole image "
          "as ROI); it becomes the current image.")
      .def(
          "open",
          [](const sessionHandle& h, const std::filesystem::path& path,
             std::optional<std::string> name) {
            std::string opened;
            withSession(*h.shared, [&](cli::session& s) {
              opened = s.openImage(pathText(path), name.value_or("")).fieldName();
            });
            return imageHandle{h.shared, opened};
          },
          pyb::arg("path"), pyb::arg("name") = pyb::none(),
          "Reads an image file (TIFF, PNG, .imp) under `name`, or the name the file gives; it "
          "becomes the current image.")
      .def(
          "save",
          [](const sessionHandle& h, const std::string& name, const std::filesystem::path& path) {
            withSession(*h.shared, [&](cli::session& s) { s.saveImage(name, pathText(path)); });
          },
          pyb::arg("name"), pyb::arg("path"),
          "Writes the image `name` to `path`, its format by the extension (.imp keeps the "
          "masks); a file this session read is never written.")
      .def(
          "undo",
          [](const sessionHandle& h) {
            withSession(*h.shared, [](cli::session& s) { cli::undoStep(s, {}); });
          },
          "Takes back the host's last undo step (a command, an added or opened image).");
}

}  // namespace tamble::py
