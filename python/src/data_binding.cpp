#include <nanobind/ndarray.h>
#include <nanobind/stl/map.h>
#include <nanobind/stl/pair.h>
#include <nanobind/stl/string.h>
#include <nanobind/stl/vector.h>

#include <cstdint>
#include <memory>
#include <utility>

#include "lib/data/forward_sampler.h"
#include "python/src/bindings.h"
#include "python/src/gil_release.h"

namespace nb = nanobind;

namespace samplenet_python {

namespace {

// A numpy array that owns its vector.
template <typename T, std::size_t Dimensions>
nb::ndarray<nb::numpy, T, nb::ndim<Dimensions>> arrayOf(std::unique_ptr<std::vector<T>> values,
                                                        const std::size_t (&shape)[Dimensions]) {
    T* data = values->data();
    nb::capsule owner(values.release(), [](void* p) noexcept { delete static_cast<std::vector<T>*>(p); });
    return nb::ndarray<nb::numpy, T, nb::ndim<Dimensions>>(data, Dimensions, shape, owner);
}

// Rows of state indices (one column per variable) and their weights, as
// `samplenet sample` draws them for the same seed.
auto sample(const samplenet::Network& network, const std::map<std::string, std::string>& hard,
            const std::map<std::string, std::vector<double>>& likelihood, std::size_t count, std::uint64_t seed) {
    const samplenet::Evidence evidence = evidenceByName(network, hard, likelihood);
    const auto width = static_cast<std::size_t>(network.size());
    auto states = std::make_unique<std::vector<std::int32_t>>();
    auto weights = std::make_unique<std::vector<double>>();
    states->reserve(count * width);
    weights->reserve(count);
    samplenet::InferenceOptions options;  // for its cancellation: Ctrl-C stops the draws
    withoutGil(options, [&] {
        samplenet::drawSamples(network, evidence, count, seed, options.cancellation,
                               [&](const std::vector<int>& row, double weight) {
                                   states->insert(states->end(), row.begin(), row.end());
                                   weights->push_back(weight);
                               });
    });
    return std::make_pair(arrayOf(std::move(states), {count, width}), arrayOf(std::move(weights), {count}));
}

}  // namespace

void bindData(nb::module_& module) {
    module.def("sample", &sample, nb::arg("network"), nb::arg("hard"), nb::arg("likelihood"), nb::arg("count"),
               nb::arg("seed"));
    module.def("weight_column_name", &samplenet::weightColumnName, nb::arg("network"));
}

}  // namespace samplenet_python
