#pragma once

#include <cstdint>

#include "qvr_dmatrix.h"

// Value object of a host network node: the table that holds the node's
// current beliefs, and flag bits (bit value 2 marks beliefs as written).
class NodeValue {
public:
    NodeValue() {
        QVR_intArray oneDimension;
        oneDimension.SetSize(1);
        oneDimension[0] = 0;
        valueTable = QVR_Dmatrix(oneDimension);
    }
    virtual ~NodeValue() = default;
    virtual int GetValueTable(QVR_Dmatrix** table) {
        *table = &valueTable;
        return 0;
    }

    QVR_Dmatrix valueTable;
    std::uint32_t flags = 0;
};

// A node of the host's own network; the engine reaches only its value.
class QVR_node {
public:
    NodeValue& Value() { return value; }

private:
    NodeValue value;
};
