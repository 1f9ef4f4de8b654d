#pragma once

#include <cstddef>

#include "host/qvr_dmatrix.h"
#include "host/qvr_node.h"

// Per-node state of one inference run: structure, the state of the current
// sample, accumulated weights, and the tables and message buffers of the
// three algorithms. Members are plain data shared by all of them.
class SampleNode {
public:
    explicit SampleNode(int numStates);
    // With its weights in `weightRoom` (numStates doubles), which stays the
    // caller's.
    SampleNode(int numStates, double* weightRoom);
    SampleNode(const SampleNode&) = delete;
    SampleNode& operator=(const SampleNode&) = delete;
    virtual ~SampleNode();

    virtual void WriteBeliefsBack(QVR_node* node);
    virtual void WriteBeliefsDirectBack(double* out);

    // Random numbers; all share one process-wide seed.
    static double Rand01();
    static float RandBest();
    static void psdes(unsigned long* lword, unsigned long* irword);
    static double RandLcg();

    void InitWeight();
    double NormalizeWeight();
    double takeImportanceSample();

    void InitAllMessages();
    int NormalizeMessages(bool forceUniform);

    // The counts side by side: on networks of millions of nodes the padding
    // between members is memory too.
    int sampledState = -1;
    int numStates;
    int evidence = -1;
    int numChildren = 0;
    int numParents = 0;
    int piWidth = 0;  // see piMsgs
    bool changeFlag = false;
    QVR_doubleArray weights;
    // The parents' sampled states, then the node's own; the network's to free.
    int** stateRefs = nullptr;
    QVR_Dmatrix* cpt = nullptr;
    // Made by the stages that fill them (SampleNet::CreateImportanceTables,
    // CreateLearningTables); none while only messages are passed.
    QVR_Dmatrix* importanceTable = nullptr;
    QVR_Dmatrix* totalTable = nullptr;
    QVR_intArray parentStateCounts;
    QVR_intArray children;
    QVR_intArray parents;
    QVR_intArray parentStrides;
    // lambdaPrev, the lambda the importance tables are weighed by: a view
    // into the network's arena of final lambdas
    // (SampleNet::CreatePropagationBuffers), which outlasts the messages.
    QVR_doubleArray lambdaPrev;
    // The node's piece of the network's message arena, none once freed; the
    // buffers below lie in it one after the other, so that a node keeps one
    // pointer where it kept a dozen arrays.
    double* messages = nullptr;
    // numStates entries each.
    double* lambda() const { return messages; }
    double* evidenceVector() const { return messages + numStates; }
    double* pi() const { return messages + 2 * numStates; }
    double* beliefPrev() const { return messages + 3 * numStates; }
    double* belief() const { return messages + 4 * numStates; }
    // Row i: the message from child i (numChildren rows of numStates).
    double* lambdaMsgs() const { return messages + 5 * numStates; }
    double* lambdaMsgsNext() const { return lambdaMsgs() + numChildren * numStates; }
    // Row k: the message from parent k (numParents rows of piWidth, as wide
    // as the widest parent; narrower parents leave spare entries at the end).
    double* piMsgs() const { return lambdaMsgsNext() + numChildren * numStates; }
    double* piMsgsNext() const { return piMsgs() + numParents * piWidth; }
    // One entry per parent configuration (parentStrides[0]).
    double* piProduct() const { return piMsgsNext() + numParents * piWidth; }
    // Entries of the whole piece.
    std::size_t MessageEntries() const {
        return 5 * static_cast<std::size_t>(numStates) + 2 * static_cast<std::size_t>(numChildren) * numStates +
               2 * static_cast<std::size_t>(numParents) * piWidth + static_cast<std::size_t>(parentStrides[0]);
    }
};
