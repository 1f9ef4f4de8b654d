#include "python/src/bindings.h"

NB_MODULE(_core, module) {
    module.doc() = "samplenet's network model and inference, for the samplenet package";
    samplenet_python::bindErrors(module);
    samplenet_python::bindNetwork(module);
    samplenet_python::bindInference(module);
    samplenet_python::bindPicture(module);
    samplenet_python::bindExplore(module);
}
