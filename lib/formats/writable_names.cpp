#include "lib/formats/writable_names.h"

#include "lib/model/errors.h"

namespace samplenet {

void refuseUnwritableNames(const Network& network, std::string_view format, std::string_view alternative,
                           const NameProblem& problem) {
    const auto check = [&](const std::string& name) {
        const std::string why = problem(name);
        if (!why.empty())
            throw ModelError("the name \"" + name + "\" " + why + ", which " + std::string(format) +
                             " cannot hold; rename it, or write " + std::string(alternative));
    };
    check(network.name);
    for (const Variable& variable : network.variables) {
        check(variable.name);
        for (const std::string& state : variable.states) check(state);
    }
}

std::string doubleQuoteProblem(std::string_view name) {
    return name.find('"') == std::string_view::npos ? "" : "holds a '\"'";
}

}  // namespace samplenet
