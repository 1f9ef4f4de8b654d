#include "python/src/bindings.h"

NB_MODULE(_core, module) {
    module.doc() = "samplenet's network model and inference, for the samplenet package";
    module.attr("__version__") = SAMPLENET_VERSION;
    samplenet_python::bindErrors(module);
    samplenet_python::bindNetwork(module);
    samplenet_python::bindInference(module);
    samplenet_python::bindPicture(module);
    samplenet_python::bindQueries(module);
    samplenet_python::bindExplore(module);
    samplenet_python::bindGraph(module);
    samplenet_python::bindData(module);
    samplenet_python::bindImpact(module);
    samplenet_python::bindShares(module);
}
