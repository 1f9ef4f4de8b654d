#pragma once

#include <nanobind/nanobind.h>

#include <optional>

#include "lib/inference/inference.h"

namespace samplenet_python {

// Runs `work` with the GIL released, so that other Python threads (a Dask
// worker's heartbeat, a notebook's event loop) go on meanwhile; the engine
// lock, not the GIL, keeps engine runs apart. About every 50 ms the run
// takes the GIL back for a moment to let Python handle its signals: Ctrl-C,
// or an exception any signal handler raises, stops the run and is raised
// here. `work` must not touch Python objects.
template <typename Work>
auto withoutGil(samplenet::InferenceOptions& options, Work work) {
    std::optional<nanobind::python_error> raised;
    options.cancellation.check = [&raised] {
        nanobind::gil_scoped_acquire gil;
        if (PyErr_CheckSignals() == 0) return false;
        raised.emplace();  // takes the pending exception
        return true;
    };
    try {
        nanobind::gil_scoped_release released;
        return work();
    } catch (const samplenet::RunCancelled&) {
        if (raised) throw std::move(*raised);
        throw;
    }
}

}  // namespace samplenet_python
