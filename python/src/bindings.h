#pragma once

#include <nanobind/nanobind.h>

namespace samplenet_python {

// Each registers one part of the module `samplenet._core`.
void bindErrors(nanobind::module_& module);
void bindNetwork(nanobind::module_& module);
void bindInference(nanobind::module_& module);
void bindPicture(nanobind::module_& module);

}  // namespace samplenet_python
