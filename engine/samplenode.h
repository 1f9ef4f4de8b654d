#pragma once

#include "host/qvr_dmatrix.h"
#include "host/qvr_node.h"

// Per-node state of one inference run: structure, the state of the current
// sample, accumulated weights, and the tables and message buffers of the
// three algorithms. Members are plain data shared by all of them.
class SampleNode {
public:
    explicit SampleNode(int numStates);
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

    int sampledState = -1;
    QVR_doubleArray weights;
    int** stateRefs = nullptr;
    int numStates;
    int evidence = -1;
    bool changeFlag = false;
    QVR_Dmatrix* cpt = nullptr;
    QVR_Dmatrix* importanceTable = nullptr;
    QVR_Dmatrix* totalTable = nullptr;
    int numChildren = 0;
    int numParents = 0;
    QVR_intArray parentStateCounts;
    QVR_intArray children;
    QVR_intArray parents;
    QVR_intArray parentStrides;
    QVR_doubleArray lambdaPrev;
    QVR_doubleArray lambda;
    QVR_doubleArray evidenceVector;
    QVR_Dmatrix* lambdaMsgs = nullptr;
    QVR_Dmatrix* lambdaMsgsNext = nullptr;
    QVR_Dmatrix* piMsgs = nullptr;
    QVR_Dmatrix* piMsgsNext = nullptr;
    QVR_doubleArray piProductPrev;
    QVR_doubleArray piProduct;
    QVR_doubleArray piPrev;
    QVR_doubleArray pi;
    QVR_doubleArray beliefPrev;
    QVR_doubleArray belief;
};
