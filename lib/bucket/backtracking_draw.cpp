#include "lib/bucket/backtracking_draw.h"

#include <algorithm>
#include <climits>
#include <utility>

#include "lib/model/errors.h"
#include "lib/sampling/generator_stream.h"

namespace samplenet {

namespace {

// A search asks whether to stop after this many backtracks (well under a
// millisecond of work).
constexpr long kBacktracksPerCheck = 1024;

}  // namespace

double nextWideUniform(std::uint64_t& state) {
    state += generator_stream::kWideIncrement;
    return generator_stream::wideUniform(state);
}

int stateAtRunningSum(const double* weights, std::uint32_t count, double target) {
    double running = 0.0;
    int last = -1;
    for (std::uint32_t x = 0; x < count; ++x) {
        if (weights[x] == 0.0) continue;
        last = static_cast<int>(x);
        running += weights[x];
        if (target <= running) break;
    }
    return last;
}

BacktrackingDraw::BacktrackingDraw(std::vector<Slot> slotList, std::vector<std::uint32_t> drawOrder,
                                   std::vector<std::uint32_t> readStarts, std::vector<std::uint32_t> readSlots)
    : slots(std::move(slotList)),
      order(std::move(drawOrder)),
      firstRead(std::move(readStarts)),
      reads(std::move(readSlots)),
      conflictDirected(false),
      values(slots.size(), 0),
      total(slots.size(), 0.0),
      blamed(slots.size(), 0),
      conflicts(1) {
    std::size_t states = 0;
    for (const Slot& slot : slots) states = std::max(states, slot.firstState + slot.stateCount);
    proposal.resize(states);
}

BacktrackingDraw::BacktrackingDraw(std::vector<Slot> slotList, std::vector<std::uint32_t> drawOrder)
    : slots(std::move(slotList)),
      order(std::move(drawOrder)),
      conflictDirected(true),
      values(slots.size(), 0),
      total(slots.size(), 0.0),
      conflicts(slots.size()),
      stepOf(slots.size(), UINT32_MAX),
      seen(slots.size(), 0) {
    std::size_t states = 0;
    for (const Slot& slot : slots) states = std::max(states, slot.firstState + slot.stateCount);
    proposal.resize(states);
    for (std::size_t step = 0; step < order.size(); ++step) stepOf[order[step]] = static_cast<std::uint32_t>(step);
}

void BacktrackingDraw::proposeAt(std::size_t step, Proposer& proposer) {
    const std::uint32_t slot = order[step];
    std::vector<std::uint32_t>& culprits = conflicts[conflictDirected ? slot : 0];
    culprits.clear();
    total[slot] = proposer.propose(slot, proposal.data() + slots[slot].firstState, culprits);
}

std::size_t BacktrackingDraw::backUpFrom(std::size_t step) {
    const std::uint32_t slot = order[step];
    if (!conflictDirected) {
        for (std::uint32_t k = firstRead[slot]; k < firstRead[slot + 1]; ++k) blamed[reads[k]] = 1;
        std::size_t back = step;
        while (back > 0 && !blamed[order[back - 1]]) --back;
        if (back == 0) throw ImpossibleEvidenceError();
        return back - 1;
    }
    const std::vector<std::uint32_t>& own = conflicts[slot];
    std::size_t latest = step;
    for (std::uint32_t culprit : own)
        if (stepOf[culprit] < step && (latest == step || stepOf[culprit] > latest)) latest = stepOf[culprit];
    if (latest == step) throw ImpossibleEvidenceError();
    // The slot backed up to inherits the rest of the conflict.
    const std::uint32_t target = order[latest];
    std::vector<std::uint32_t>& inherited = conflicts[target];
    ++merges;
    for (std::uint32_t culprit : inherited) seen[culprit] = merges;
    for (std::uint32_t culprit : own) {
        if (culprit == target || seen[culprit] == merges) continue;
        seen[culprit] = merges;
        inherited.push_back(culprit);
    }
    return latest;
}

bool BacktrackingDraw::draw(std::uint64_t& state, const SampleQuota& quota, Proposer& proposer) {
    const std::size_t n = order.size();
    if (n == 0) return true;
    if (!conflictDirected) std::fill(blamed.begin(), blamed.end(), 0);
    std::size_t drawn = 0;
    proposeAt(0, proposer);
    while (drawn < n) {
        const std::uint32_t slot = order[drawn];
        if (!(total[slot] > 0.0)) {
            // Dead end: back up and rule out the state taken there.
            ++backtracks_;
            if (backtracks_ % kBacktracksPerCheck == 0 && quota.stopping()) return false;
            drawn = backUpFrom(drawn);
            const std::uint32_t earlier = order[drawn];
            double* q = proposal.data() + slots[earlier].firstState;
            q[values[earlier]] = 0.0;
            double sum = 0.0;
            for (std::uint32_t x = 0; x < slots[earlier].stateCount; ++x) sum += q[x];
            total[earlier] = sum;
            continue;
        }
        values[slot] = stateAtRunningSum(proposal.data() + slots[slot].firstState, slots[slot].stateCount,
                                         nextWideUniform(state) * total[slot]);
        ++drawn;
        if (drawn < n) proposeAt(drawn, proposer);
    }
    return true;
}

}  // namespace samplenet
