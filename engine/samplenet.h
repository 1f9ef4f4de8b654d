#pragma once

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

    void SetParameterForImportanceSampling();
    void ClearImportanceParameter();

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
};
