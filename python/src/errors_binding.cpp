#include <cstring>
#include <stdexcept>

#include "lib/exact/junction_tree.h"
#include "lib/inference/inference.h"
#include "lib/model/errors.h"
#include "python/src/bindings.h"

namespace nb = nanobind;

namespace samplenet_python {

namespace {

// Messages quote what a file holds, which need not be UTF-8: undecodable
// bytes show as \xNN rather than failing the error itself.
nb::object text(const std::string& message) {
    return nb::steal(PyUnicode_DecodeUTF8(message.data(), static_cast<Py_ssize_t>(message.size()), "backslashreplace"));
}

nb::object path(const std::string& name) {
    return nb::steal(PyUnicode_DecodeFSDefaultAndSize(name.data(), static_cast<Py_ssize_t>(name.size())));
}

// Raises samplenet.errors.<name>(arguments...).
template <typename... Arguments>
void raise(const char* name, Arguments&&... arguments) {
    const nb::object type = nb::module_::import_("samplenet.errors").attr(name);
    const nb::object error = type(std::forward<Arguments>(arguments)...);
    PyErr_SetObject(type.ptr(), error.ptr());
}

void raiseOsError(const samplenet::FileError& error) {
    // OSError(errno, text, filename) makes the errno's own subclass
    // (PermissionError, IsADirectoryError, ...).
    const nb::object instance = nb::handle(PyExc_OSError)(error.error, text(std::strerror(error.error)), path(error.path));
    PyErr_SetObject(reinterpret_cast<PyObject*>(Py_TYPE(instance.ptr())), instance.ptr());
}

void translate(const std::exception_ptr& failure, void*) {
    try {
        std::rethrow_exception(failure);
    } catch (const samplenet::FileError& error) {
        raiseOsError(error);
    } catch (const samplenet::ParseError& error) {
        raise("ParseError", text(error.what()), error.path.empty() ? nb::none() : path(error.path),
              error.line > 0 ? nb::object(nb::int_(error.line)) : nb::none());
    } catch (const samplenet::ModelError& error) {
        raise("ModelError", text(error.what()));
    } catch (const samplenet::EvidenceError& error) {
        raise("EvidenceError", text(error.what()));
    } catch (const samplenet::InferenceError& error) {
        raise("InferenceError", text(error.what()));
    } catch (const samplenet::NetworkTooLargeError& error) {
        raise("NetworkTooLargeError", text(error.what()));
    } catch (const samplenet::ExactMemoryError& error) {
        raise("NetworkTooLargeError", text(error.what()));
    } catch (const std::invalid_argument& error) {
        PyErr_SetObject(PyExc_ValueError, text(error.what()).ptr());
    } catch (const std::length_error& error) {
        raise("ModelError", text(error.what()));
    }
}

}  // namespace

// The library's errors become the exceptions of samplenet.errors, with the
// command line's messages; anything else takes nanobind's own translation.
void bindErrors(nb::module_&) { nb::register_exception_translator(translate); }

}  // namespace samplenet_python
