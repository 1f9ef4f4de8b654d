#include <nanobind/stl/map.h>
#include <nanobind/stl/string.h>
#include <nanobind/stl/vector.h>

#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "lib/inference/shared_inference.h"
#include "lib/sampling/share_encoding.h"
#include "python/src/bindings.h"
#include "python/src/gil_release.h"

namespace nb = nanobind;

namespace samplenet_python {

namespace {

std::string_view viewOf(const nb::bytes& bytes) { return {bytes.c_str(), bytes.size()}; }

nb::bytes bytesOf(const std::string& text) { return nb::bytes(text.data(), text.size()); }

// Hands each round's shares, as bytes, to a Python function that has them
// drawn (on a cluster) and returns them drawn, as bytes, in the same order.
class PythonShareDrawer : public samplenet::ShareDrawer {
public:
    explicit PythonShareDrawer(nb::callable drawRound) : drawRoundInPython(std::move(drawRound)) {}

    void start(const samplenet::SamplingPlan& plan, samplenet::Generator generator) override {
        const std::string encoded = samplenet::encodePlan(plan, generator);
        sumCount = plan.sumCount;
        nb::gil_scoped_acquire gil;
        planBytes = bytesOf(encoded);
    }

    std::vector<samplenet::JobShare> drawRound(const std::vector<samplenet::JobShare>& shares,
                                               const std::vector<long>& samples) override {
        std::vector<std::string> encoded;
        for (const samplenet::JobShare& share : shares) encoded.push_back(samplenet::encodeShare(share));
        nb::gil_scoped_acquire gil;
        nb::list sent;
        for (const std::string& share : encoded) sent.append(bytesOf(share));
        const nb::object returned = drawRoundInPython(planBytes, sent, samples);
        std::vector<samplenet::JobShare> drawn;
        for (nb::handle share : returned) drawn.push_back(samplenet::decodeShare(viewOf(nb::cast<nb::bytes>(share)), sumCount));
        return drawn;
    }

private:
    nb::callable drawRoundInPython;
    nb::bytes planBytes;
    std::size_t sumCount = 0;
};

samplenet::InferenceResult inferOnShares(const samplenet::Network& network,
                                         const std::map<std::string, std::string>& hard,
                                         const std::map<std::string, std::vector<double>>& likelihood,
                                         samplenet::InferenceOptions options, nb::callable drawRound) {
    const samplenet::Evidence evidence = evidenceByName(network, hard, likelihood);
    PythonShareDrawer drawer(std::move(drawRound));
    return withoutGil(options, [&] { return samplenet::inferOnShares(network, evidence, options, drawer); });
}

// What a worker runs: more samples of one share.
nb::bytes drawShare(const nb::bytes& plan, const nb::bytes& share, long samples) {
    if (samples < 0) throw std::invalid_argument("a share draws a count of samples from 0 up");
    std::string drawn;
    {
        // The arguments keep the bytes alive meanwhile.
        nb::gil_scoped_release released;
        const samplenet::PlanAndGenerator received = samplenet::decodePlan(viewOf(plan));
        samplenet::JobShare job = samplenet::decodeShare(viewOf(share), received.plan.sumCount);
        samplenet::drawShare(received.plan, received.generator, job, samples);
        drawn = samplenet::encodeShare(job);
    }
    return bytesOf(drawn);
}

}  // namespace

void bindShares(nb::module_& module) {
    module.def("infer_on_shares", &inferOnShares, nb::arg("network"), nb::arg("hard"), nb::arg("likelihood"),
               nb::arg("options"), nb::arg("draw_round"),
               "infer() whose final samples draw_round(plan, shares, samples) draws: it returns each of the bytes "
               "shares after draw_share(plan, share, samples[k]), in order.");
    module.def("draw_share", &drawShare, nb::arg("plan"), nb::arg("share"), nb::arg("samples"),
               "Draws `samples` more samples of a share of a run's plan; the share after, as bytes.");
}

}  // namespace samplenet_python
