#include <nanobind/stl/vector.h>

#include <vector>

#include "lib/graph/d_separation.h"
#include "lib/graph/markov_blanket.h"
#include "python/src/bindings.h"

namespace nb = nanobind;

namespace samplenet_python {

void bindGraph(nb::module_& module) {
    // Variables by index; the package maps names and checks them first.
    module.def("children", [](const samplenet::Network& network, int v) { return network.children().at(v); },
               nb::arg("network"), nb::arg("variable"));
    module.def(
        "markov_blanket",
        [](const samplenet::Network& network, int v) {
            if (v < 0 || v >= network.size()) throw nb::index_error("node index out of range");
            return samplenet::markovBlanket(network, v);
        },
        nb::arg("network"), nb::arg("variable"));
    module.def("d_separated", &samplenet::dSeparated, nb::arg("network"), nb::arg("a"), nb::arg("b"),
               nb::arg("given"));
}

}  // namespace samplenet_python
