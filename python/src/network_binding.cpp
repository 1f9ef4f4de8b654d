#include <nanobind/stl/optional.h>
#include <nanobind/stl/string.h>
#include <nanobind/stl/tuple.h>
#include <nanobind/stl/vector.h>

#include <tuple>

#include "lib/formats/formats.h"
#include "lib/model/errors.h"
#include "lib/model/network.h"
#include "lib/output/output_file.h"
#include "python/src/bindings.h"

namespace nb = nanobind;

namespace samplenet_python {

namespace {

// name, states, parent names, table in the library's layout (parents in
// order, own state fastest).
using NodeSpec = std::tuple<std::string, std::vector<std::string>, std::vector<std::string>, std::vector<double>>;

samplenet::Network buildNetwork(const std::string& name, const std::vector<NodeSpec>& nodes) {
    samplenet::Network network;
    network.name = name;
    for (const auto& [nodeName, states, parents, table] : nodes)
        network.variables.push_back(samplenet::Variable{nodeName, states, {}, table, {}});
    network.reindex();
    for (std::size_t v = 0; v < nodes.size(); ++v)
        for (const std::string& parent : std::get<2>(nodes[v])) {
            const auto p = network.indexOf(parent);
            if (!p)
                throw samplenet::ModelError("node \"" + std::get<0>(nodes[v]) + "\": unknown parent \"" + parent +
                                            "\"");
            network.variables[v].parents.push_back(*p);
        }
    samplenet::validate(network);
    return network;
}

bool isUtf8(const std::string& text) {
    PyObject* decoded = PyUnicode_DecodeUTF8(text.data(), static_cast<Py_ssize_t>(text.size()), "strict");
    if (!decoded) PyErr_Clear();
    Py_XDECREF(decoded);
    return decoded != nullptr;
}

// Python's names are str: a file whose names are not UTF-8 (say Latin-1)
// is refused with the first such name, its bytes escaped.
samplenet::Network readUtf8Network(const std::string& path) {
    samplenet::Network network = samplenet::readNetwork(path);
    const auto check = [&path](const std::string& name) {
        if (isUtf8(name)) return;
        std::string escaped;
        for (unsigned char c : name) {
            static const char digits[] = "0123456789abcdef";
            if (c < 0x80) escaped += static_cast<char>(c);
            else escaped += std::string("\\x") + digits[c >> 4] + digits[c & 15];
        }
        throw samplenet::ParseError(path + ": the name \"" + escaped + "\" is not UTF-8 text; convert the file to UTF-8",
                                    path, 0);
    };
    check(network.name);
    for (const samplenet::Variable& variable : network.variables) {
        check(variable.name);
        for (const std::string& state : variable.states) check(state);
    }
    return network;
}

const samplenet::Variable& variableAt(const samplenet::Network& network, int v) {
    if (v < 0 || v >= network.size()) throw nb::index_error("node index out of range");
    return network.variables[v];
}

}  // namespace

void bindNetwork(nb::module_& module) {
    nb::class_<samplenet::Network>(module, "Network")
        .def_ro("name", &samplenet::Network::name)
        .def_prop_ro("size", &samplenet::Network::size)
        .def_prop_ro("nodes",
                     [](const samplenet::Network& network) {
                         std::vector<std::string> names;
                         for (const auto& variable : network.variables) names.push_back(variable.name);
                         return names;
                     })
        .def("index_of", &samplenet::Network::indexOf, nb::arg("name"))
        .def("states", [](const samplenet::Network& network, int v) { return variableAt(network, v).states; })
        .def("parents", [](const samplenet::Network& network, int v) { return variableAt(network, v).parents; })
        .def("table", [](const samplenet::Network& network, int v) { return variableAt(network, v).table; })
        .def("save", [](const samplenet::Network& network, const std::string& path) {
            samplenet::writeNetwork(network, path);
        });
    // The default reading limits; the file names what exceeds them.
    module.def("read_network", &readUtf8Network, nb::arg("path"));
    module.def("build_network", &buildNetwork, nb::arg("name"), nb::arg("nodes"));
    // For files the package writes through other libraries (pandas' CSV and
    // Parquet): the command line's rules for replacing what is at the path.
    module.def(
        "write_file",
        [](const std::string& path, const nb::bytes& data) {
            samplenet::writeOutputFile(path, std::string_view(data.c_str(), data.size()));
        },
        nb::arg("path"), nb::arg("data"));
}

}  // namespace samplenet_python
