#include "lib/inference/inference.h"
#include "lib/model/errors.h"
#include "python/src/bindings.h"

namespace nb = nanobind;

namespace samplenet_python {

// The library's errors become Python exceptions with the same messages as
// the command line's. Bad input is a ValueError; a run that could not produce
// posteriors is a RuntimeError.
void bindErrors(nb::module_& module) {
    nb::exception<samplenet::ParseError>(module, "ParseError", PyExc_ValueError);
    nb::exception<samplenet::ModelError>(module, "ModelError", PyExc_ValueError);
    nb::exception<samplenet::EvidenceError>(module, "EvidenceError", PyExc_ValueError);
    nb::exception<samplenet::InferenceError>(module, "InferenceError", PyExc_RuntimeError);
}

}  // namespace samplenet_python
