#pragma once

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
    // The propagation's buffers: views into the network's arenas
    // (SampleNet::CreatePropagationBuffers), numStates entries each unless
    // said otherwise. lambdaPrev, the lambda the importance tables are
    // weighed by, lives apart so that it can outlast the others.
    QVR_doubleArray lambdaPrev;
    QVR_doubleArray lambda;
    QVR_doubleArray evidenceVector;
    // Row i: the message from child i (numChildren rows of numStates).
    QVR_doubleArray lambdaMsgs;
    QVR_doubleArray lambdaMsgsNext;
    // Row k: the message from parent k (numParents rows of piWidth, as wide
    // as the widest parent; narrower parents leave spare entries at the end).
    QVR_doubleArray piMsgs;
    QVR_doubleArray piMsgsNext;
    QVR_doubleArray piProduct;  // one entry per parent configuration
    QVR_doubleArray pi;
    QVR_doubleArray beliefPrev;
    QVR_doubleArray belief;
};
