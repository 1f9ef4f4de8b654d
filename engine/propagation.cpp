#include "engine/propagation.h"

#include <algorithm>
#include <atomic>
#include <cmath>

#include "engine/node_tasks.h"
#include "engine/samplenet.h"

namespace propagation {
namespace {

constexpr int kZeroTotal = -26;

bool IsZeroOrNan(double v) { return v == 0.0 || std::isnan(v); }

int PositionOf(const QVR_intArray& list, int value) {
    int i = 0;
    while (list[i] != value) ++i;
    return i;
}

// Calls visit(q) for every parent configuration q in which parent p is in
// state j, in increasing order.
template <typename Visit>
void ForEachConfiguration(const SampleNode& x, int p, int j, Visit visit) {
    const int total = x.parentStrides[0];
    const int run = x.parentStrides[p + 1];
    const int period = x.parentStrides[p];
    for (int b = j * run; b < total; b += period)
        for (int q = b; q < b + run; ++q) visit(q);
}

void ComputeLambda(SampleNode& x) {
    for (int s = 0; s < x.numStates; ++s) x.lambda()[s] = x.evidenceVector()[s];
    if (x.evidence >= 0) return;
    for (int s = 0; s < x.numStates; ++s)
        for (int i = 0; i < x.numChildren; ++i) x.lambda()[s] *= x.lambdaMsgs()[i * x.numStates + s];
}

void ComputePi(SampleNode& x) {
    const int n = x.numStates;
    const int width = x.piWidth;
    for (int p = 0; p < x.numParents; ++p)
        for (int j = 0; j < x.parentStateCounts[p]; ++j) {
            const double message = x.piMsgs()[p * width + j];
            ForEachConfiguration(x, p, j, [&](int q) { x.piProduct()[q] *= message; });
        }
    const double* cpt = x.cpt->data.data;
    if (x.numParents == 0) {
        for (int s = 0; s < n; ++s) x.pi()[s] = cpt[s];
        return;
    }
    for (int s = 0; s < n; ++s) x.pi()[s] = 0.0;
    // Configurations outermost keeps the table walk sequential; each pi[s]
    // still sums its terms in increasing configuration order.
    for (int q = 0; q < x.parentStrides[0]; ++q)
        for (int s = 0; s < n; ++s) x.pi()[s] += x.piProduct()[q] * cpt[q * n + s];
}

// Returns false when the belief has no mass and onEmpty is Fail.
bool ComputeBelief(SampleNode& x, OnEmptyBelief onEmpty) {
    const int n = x.numStates;
    if (n < 1) return onEmpty == OnEmptyBelief::MakeUniform;
    double total = 0.0;
    for (int s = 0; s < n; ++s) {
        x.belief()[s] = x.lambda()[s] * x.pi()[s];
        total += x.belief()[s];
    }
    if (total > 0.0) {
        for (int s = 0; s < n; ++s) x.belief()[s] /= total;
        return true;
    }
    if (onEmpty == OnEmptyBelief::Fail) return false;
    for (int s = 0; s < n; ++s) x.belief()[s] = 1.0 / n;
    return true;
}

void SendLambdaMessages(SampleNet& net, int index) {
    SampleNode& x = *net.nodes[index];
    const int n = x.numStates;
    const double* cpt = x.cpt->data.data;
    const int width = x.piWidth;
    for (int p = 0; p < x.numParents; ++p) {
        SampleNode& u = *net.nodes[x.parents[p]];
        if (u.evidence >= 0) continue;
        const int row = PositionOf(u.children, index);
        for (int j = 0; j < u.numStates; ++j) {
            // Dividing out the message from u leaves the product of the
            // messages from x's other parents.
            const double own = x.piMsgs()[p * width + j];
            double message = 0.0;
            for (int s = 0; s < n; ++s) {
                double inner = 0.0;
                if (!IsZeroOrNan(own))
                    ForEachConfiguration(x, p, j, [&](int q) { inner += (x.piProduct()[q] / own) * cpt[q * n + s]; });
                message += x.lambda()[s] * inner;
            }
            u.lambdaMsgsNext()[row * u.numStates + j] = message;
        }
    }
}

void SendPiMessages(SampleNet& net, int index) {
    SampleNode& x = *net.nodes[index];
    for (int i = 0; i < x.numChildren; ++i) {
        SampleNode& y = *net.nodes[x.children[i]];
        const int row = PositionOf(y.parents, index);
        const int width = y.piWidth;
        for (int s = 0; s < x.numStates; ++s) {
            const double v = x.lambdaMsgs()[i * x.numStates + s];
            y.piMsgsNext()[row * width + s] = IsZeroOrNan(v) ? 0.0 : x.lambda()[s] / v * x.pi()[s];
        }
    }
}

bool UpdateNode(SampleNet& net, int index, OnEmptyBelief onEmpty) {
    SampleNode& x = *net.nodes[index];
    x.NormalizeMessages(true);
    ComputeLambda(x);
    ComputePi(x);
    if (!ComputeBelief(x, onEmpty)) return false;
    SendLambdaMessages(net, index);
    SendPiMessages(net, index);
    return true;
}

// dst := src, then src := refill, over dst's element count.
void Rotate(double* dst, double* src, int count, double refill) {
    for (int k = 0; k < count; ++k) {
        dst[k] = src[k];
        src[k] = refill;
    }
}

void RotateNode(SampleNode& x) {
    if (x.numChildren != 0) Rotate(x.lambdaMsgs(), x.lambdaMsgsNext(), x.numChildren * x.numStates, 1.0);
    if (x.numParents != 0) {
        Rotate(x.piMsgs(), x.piMsgsNext(), x.numParents * x.piWidth, 1.0);
        // The products start again from 1; the last round's are not read.
        std::fill_n(x.piProduct(), x.parentStrides[0], 1.0);
    }
    if (x.evidence < 0 && x.numChildren != 0) Rotate(x.lambdaPrev.data, x.lambda(), x.lambdaPrev.numElements, 1.0);
    // pi is written whole before it is read again: its last round is not kept.
    if (x.numParents != 0) std::fill_n(x.pi(), x.numStates, 0.0);
    Rotate(x.beliefPrev(), x.belief(), x.numStates, 0.0);
}

// Run with the host's threads. A node's update reads only its own buffers
// and writes its own and its slots in its neighbours' next-round buffers, so
// the updates of a round may go in any order or side by side; the rotation
// waits for all of them.
int RunShared(SampleNet& net, int iterations, OnEmptyBelief onEmpty) {
    for (int t = 0; t < iterations; ++t) {
        std::atomic<bool> empty{false};
        node_tasks::ForRanges(net, [&](int begin, int end) {
            for (int i = begin; i < end; ++i)
                if (!UpdateNode(net, i, onEmpty)) empty.store(true, std::memory_order_relaxed);
        });
        if (empty.load()) return kZeroTotal;
        node_tasks::ForRanges(net, [&](int begin, int end) {
            for (int i = begin; i < end; ++i) RotateNode(*net.nodes[i]);
        });
    }
    return 0;
}

}  // namespace

void Prepare(SampleNet& net) {
    if (net.nodeCount <= 0) return;
    net.SetTotalTableToZero();
    net.InitAllWeights();
    net.InitAllMessages();
}

int Run(SampleNet& net, int iterations, OnEmptyBelief onEmpty) {
    if (node_tasks::Shared(net)) return RunShared(net, iterations, onEmpty);
    for (int t = 0; t < iterations; ++t) {
        for (int i = 0; i < net.nodeCount; ++i) {
            net.adapter->Checkpoint();
            if (!UpdateNode(net, i, onEmpty)) return kZeroTotal;
        }
        for (int i = 0; i < net.nodeCount; ++i) RotateNode(*net.nodes[i]);
    }
    return 0;
}

}  // namespace propagation
