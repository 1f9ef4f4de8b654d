#include <nanobind/stl/map.h>
#include <nanobind/stl/string.h>
#include <nanobind/stl/vector.h>

#include <map>
#include <string>
#include <vector>

#include "lib/plot/graphviz_render.h"
#include "lib/plot/posterior_picture.h"
#include "python/src/bindings.h"

namespace nb = nanobind;

namespace samplenet_python {

namespace {

// SVG of the network with the posteriors of a finished run: every node, or
// the queried ones with their neighbours. Too many nodes to draw raise
// ValueError; a missing Graphviz raises RuntimeError.
std::string pictureSvg(const samplenet::Network& network, const std::map<std::string, std::string>& hard,
                       const std::map<std::string, std::vector<double>>& likelihood,
                       std::vector<std::vector<double>> posteriors, const std::vector<int>& queried) {
    const samplenet::Evidence evidence = evidenceByName(network, hard, likelihood);
    samplenet::InferenceResult result;
    result.posteriors = std::move(posteriors);
    const samplenet::PosteriorPicture picture{network, evidence, result,
                                              samplenet::selectPictureNodes(network, queried), ""};
    return samplenet::renderDot(samplenet::posteriorDot(picture), samplenet::PictureFormat::Svg);
}

}  // namespace

void bindPicture(nb::module_& module) {
    module.def("picture_svg", &pictureSvg, nb::arg("network"), nb::arg("hard"), nb::arg("likelihood"),
               nb::arg("posteriors"), nb::arg("queried"));
}

}  // namespace samplenet_python
