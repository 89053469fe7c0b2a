#include "Failure.h"

#include "StatusText.h"
#include "vandrel/Status.h"

namespace py = pybind11;

namespace vxpy {
namespace {

// Owned by the module for the life of the process.
PyObject* g_errorType = nullptr;

}  // namespace

std::string CFailure::Message() const {
    std::string text = file.empty() ? std::string() : file + ": ";
    if (!detail.empty()) text += detail + ": ";
    return text + vxtool::DescribeStatus(code);
}

int32_t Check(int32_t code, const std::string& file, const std::string& detail) {
    if (VxIsFailure(code)) throw CFailure{code, file, detail};
    return code;
}

void RegisterFailures(py::module_& module) {
    g_errorType = PyErr_NewExceptionWithDoc(
        "vandrel.Error",
        "A failure of the library or a codec. `code` is the status code (a negative 32-bit "
        "number), `file` the file it concerns; the text is the one the vandrel tool prints.",
        PyExc_RuntimeError, nullptr);
    if (g_errorType == nullptr) throw py::error_already_set();
    module.add_object("Error", py::handle(g_errorType));
    py::register_exception_translator([](std::exception_ptr failure) {
        try {
            if (failure) std::rethrow_exception(failure);
        } catch (const CFailure& f) {
            py::object error = py::reinterpret_borrow<py::object>(g_errorType)(f.Message());
            error.attr("code") = f.code;
            error.attr("file") = f.file;
            PyErr_SetObject(g_errorType, error.ptr());
        }
    });
}

void WarnAbout(int32_t code, const std::string& file) {
    if (!VxIsWarning(code)) return;
    const std::string text = CFailure{code, file, "warning"}.Message();
    if (PyErr_WarnEx(PyExc_RuntimeWarning, text.c_str(), 1) < 0) throw py::error_already_set();
}

}  // namespace vxpy
