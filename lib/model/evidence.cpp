#include "lib/model/evidence.h"

#include <algorithm>
#include <set>

namespace samplenet {

std::vector<int> observedInGivenOrder(const Evidence& evidence) {
    std::vector<int> variables;
    std::set<int> listed;
    for (int v : evidence.givenOrder)
        if ((evidence.hard.count(v) > 0 || evidence.likelihood.count(v) > 0) && listed.insert(v).second)
            variables.push_back(v);
    std::vector<int> rest;
    for (const auto& [v, state] : evidence.hard)
        if (!listed.count(v)) rest.push_back(v);
    for (const auto& [v, likelihood] : evidence.likelihood)
        if (!listed.count(v)) rest.push_back(v);
    std::sort(rest.begin(), rest.end());
    variables.insert(variables.end(), rest.begin(), rest.end());
    return variables;
}

}  // namespace samplenet
