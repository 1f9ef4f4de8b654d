#pragma once

#include <memory>

#include "engine/samplenode.h"
#include "host/sampling_adapter.h"

// The network of one inference run, built over a host adapter. One run:
// construct, SetParameterForImportanceSampling, one driver
// (BN_AIS_Sampling, LBP or BN_EPIS_Sampling), ClearImportanceParameter,
// destroy. Drivers return 0, or -5 (a node's weights have no mass) or -26
// (a distribution to normalise has a zero total).
class SampleNet {
public:
    explicit SampleNet(SamplingAdapter& adapter);
    SampleNet(const SampleNet&) = delete;
    SampleNet& operator=(const SampleNet&) = delete;
    ~SampleNet();

    virtual void CreateNodeList();
    virtual void CreateANode(int index, int numStates);
    void CheckChangeFlag();
    void ChangeParentFlag(int index);

    // All three below: what any driver may need.
    void SetParameterForImportanceSampling();
    // Frees every table and buffer the three make; safe to call again.
    void ClearImportanceParameter();
    // The parts, for a host that needs less. Message buffers and strides
    // (propagation); importance tables as copies of the conditional tables;
    // learning sums at zero. The last two skip nodes that have one.
    void CreatePropagationBuffers();
    void CreateImportanceTables();
    void CreateLearningTables();
    // Frees the messages, vectors and learning sums once the propagation is
    // over; only lambdaPrev (and the importance tables) stay.
    void ReleaseMessages();

    void AddWeight(double weight);
    void InitAllWeights();
    double OneImportanceSample();

    void InitNormalizedTable(int node, bool parentOfEvidence);
    void NormalizeImportantTable(int node);
    void AddImportantTable(double weight, bool unused);
    void UpdateNormalizedTable();
    void SetTotalTableToZero();

    int BN_AIS_Sampling();

    void InitAllMessages();
    int LBP();

    void InitPosteriorTable(int node, bool makeUniform);
    int BN_EPIS_Sampling();

    SampleNode** nodes = nullptr;
    SamplingAdapter* adapter;
    double learningRate = 0.0;
    int nodeCount = 0;

private:
    // The nodes' propagation buffers, each arena one allocation: on networks
    // of millions of nodes a dozen small allocations per node cost more than
    // the numbers in them.
    std::unique_ptr<double[]> messageArena;
    std::unique_ptr<double[]> lambdaArena;  // lambdaPrev, kept longer
    // For the network's life: the nodes' weights and state lists.
    std::unique_ptr<double[]> weightArena;
    std::unique_ptr<int*[]> refArena;
    std::size_t weightsPlaced = 0;
    // Room for the nodes, made in place by CreateANode.
    struct NodeRoom {
        alignas(SampleNode) unsigned char bytes[sizeof(SampleNode)];
    };
    std::unique_ptr<NodeRoom[]> nodePool;
};
