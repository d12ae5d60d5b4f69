// The Python module lumeno: the same object model as the Windows automation objects, over the
// same picture (Scripting::Picture). lumeno.open(path) reads a photo; its ifds hold the fields
// with their values and the dump's texts; iptc, xmp and values give the rest; set_iptc and save
// edit the IPTC record through the tool's own safe rewrite.
#include <Lumeno/Scripting/Picture.h>
#include <Metadata/Exceptions.h>

#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include <memory>
#include <string>
#include <vector>

namespace py = pybind11;
using namespace Lumeno::Scripting;

namespace {

py::object valueOf(const FieldValue& v)
{
    using Kind = FieldValue::Kind;
    switch (v.kind) {
    case Kind::None:
        return py::none();
    case Kind::Text:
        // Bytes that are not UTF-8 (an ASCII field is not always ASCII) are kept, not refused.
        return py::reinterpret_steal<py::object>(PyUnicode_DecodeUTF8(v.text.data(), static_cast<Py_ssize_t>(v.text.size()), "replace"));
    case Kind::Integers:
        if (v.integers.size() == 1) {
            return py::int_(v.integers[0]);
        }
        return py::cast(v.integers);
    case Kind::Reals:
        if (v.reals.size() == 1) {
            return py::float_(v.reals[0]);
        }
        return py::cast(v.reals);
    }
    return py::none();
}

py::str text(const std::string& utf8)
{
    return py::reinterpret_steal<py::str>(PyUnicode_DecodeUTF8(utf8.data(), static_cast<Py_ssize_t>(utf8.size()), "replace"));
}

// The datasets, each name once in the order first met, with its values.
py::dict iptcOf(const Picture& picture)
{
    py::dict datasets;
    for (const IptcEntry& e : picture.iptc()) {
        py::str name = text(e.name);
        if (!datasets.contains(name)) {
            datasets[name] = py::list();
        }
        datasets[name].cast<py::list>().append(text(e.text));
    }
    return datasets;
}

} // namespace

PYBIND11_MODULE(lumeno, m)
{
    m.doc() = "Read the EXIF, IPTC and XMP metadata of JPEG and TIFF photos, and edit their IPTC record.";

    static py::exception<Metadata::Exception> error(m, "Error", PyExc_RuntimeError);
    py::register_exception_translator([](std::exception_ptr p) {
        try {
            if (p) {
                std::rethrow_exception(p);
            }
        } catch (const Metadata::IOOpenError& e) {
            const std::string reason = e.reason().empty() ? "cannot open the file" : e.reason();
            PyErr_SetString(PyExc_OSError, reason.c_str());
        } catch (const Metadata::Exception& e) {
            error(e.what());
        } catch (const Metadata::Error& e) {
            error(e.what());
        }
    });

    py::class_<FieldEntry>(m, "Field", "One entry of a directory.")
        .def_readonly("tag", &FieldEntry::tag, "The tag number.")
        .def_property_readonly("name", [](const FieldEntry& f) { return text(f.name); },
                               "The name the dump's line gives it ('Tag 0xTTTT (TYPE, COUNT)' for a tag without one).")
        .def_property_readonly("type", [](const FieldEntry& f) { return f.typeName; }, "The type's name: 'SHORT', 'ASCII'...")
        .def_readonly("count", &FieldEntry::count, "How many values the entry declares.")
        .def_property_readonly("value", [](const FieldEntry& f) { return valueOf(f.value); },
                               "The values as stored: an int, a float (rationals as their quotient), a str, a list "
                               "of them, or None when they cannot be read.")
        .def_property_readonly("text", [](const FieldEntry& f) { return text(f.text); }, "The text the dump shows after the name.")
        .def_readonly("shown", &FieldEntry::shown, "False for the tags the dump deliberately shows no line for.")
        .def("__repr__", [](const FieldEntry& f) { return "<lumeno.Field " + f.name + ": " + f.text + ">"; });

    py::class_<Directory>(m, "IFD", "One EXIF directory.")
        .def_readonly("name", &Directory::name, "'Primary Image', 'EXIF', 'GPS', 'Thumbnail Image', 'MakerNote'...")
        .def_readonly("id", &Directory::id)
        .def_readonly("fields", &Directory::fields, "Its fields, in stored order.")
        .def(
            "__getitem__",
            [](const Directory& d, const std::string& name) {
                const FieldEntry* f = d.find(name);
                if (f == nullptr) {
                    throw py::key_error("there is no field called '" + name + "'");
                }
                return *f;
            },
            "The field of a name (letter case aside).")
        .def("__len__", [](const Directory& d) { return d.fields.size(); })
        .def("__repr__", [](const Directory& d) { return "<lumeno.IFD " + d.name + ", " + std::to_string(d.fields.size()) + " fields>"; });

    py::class_<Picture, std::shared_ptr<Picture>>(m, "Image", "A photo's metadata, read once.")
        .def_property_readonly("path", &Picture::path)
        .def_property_readonly("ifds", &Picture::directories, "The EXIF directories, in the dump's order.")
        .def(
            "ifd",
            [](const Picture& p, const std::string& name) {
                const Directory* d = p.directory(name);
                if (d == nullptr) {
                    throw py::key_error("there is no IFD called '" + name + "'");
                }
                return *d;
            },
            "The directory of a name (letter case aside).")
        .def_property_readonly("iptc", &iptcOf, "The IPTC datasets: each name with its values, in stored order.")
        .def("iptc_value", &Picture::iptcJoined, py::arg("name"),
             "The values of one dataset ('Caption', 'Keyword', '2:25') joined by '; '.")
        .def_property_readonly("xmp", [](const Picture& p) { return text(p.xmp()); }, "The XMP packet ('' when none).")
        .def_property_readonly(
            "values",
            [](const Picture& p) {
                py::dict values;
                for (const auto& [name, value] : p.values()) {
                    values[text(name)] = text(value);
                }
                return values;
            },
            "The reconciled properties (Title, Creator, DateTaken, ...) the file has.")
        .def_property_readonly("warnings", &Picture::warnings, "What could not be read.")
        .def(
            "set_iptc",
            [](Picture& p, const std::string& name, const py::object& values) {
                std::vector<std::string> list;
                if (py::isinstance<py::str>(values)) {
                    list.push_back(values.cast<std::string>());
                } else if (!values.is_none()) {
                    list = values.cast<std::vector<std::string>>();
                }
                p.setIptc(name, list);
            },
            py::arg("name"), py::arg("values"),
            "Replaces every value of a dataset by a text or a list of texts (None or [] removes it); written by save().")
        .def_property_readonly("modified", &Picture::modified, "Whether there are changes save() has not written.")
        .def("save", &Picture::save, "Writes the changes into the file safely and reads it again.")
        .def("__repr__", [](const Picture& p) { return "<lumeno.Image " + p.path() + ">"; });

    m.def(
        "open", [](const std::string& path) { return std::make_shared<Picture>(path); }, py::arg("path"),
        "Reads a JPEG or TIFF file.");
}
