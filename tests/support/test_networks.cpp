#include "tests/support/test_networks.h"

namespace testing_support {

TinyNet rareFault() {
    TinyNet net;
    net.add(2, {}, {0.9, 0.1});                              // 0 maintenance overdue
    net.add(2, {0}, {0.9999, 0.0001, 0.999, 0.001});         // 1 fault
    net.add(2, {1, 0}, {0.98, 0.02, 0.95, 0.05, 0.1, 0.9, 0.2, 0.8});
    net.add(2, {1, 0}, {0.97, 0.03, 0.9, 0.1, 0.15, 0.85, 0.1, 0.9});
    for (int sensor = 0; sensor < 4; ++sensor) net.add(2, {1}, {0.98, 0.02, 0.1, 0.9});
    net.add(3, {2, 3}, {0.8, 0.15, 0.05, 0.3, 0.4, 0.3, 0.3, 0.4, 0.3, 0.05, 0.15, 0.8});  // 8 report
    return net;
}

std::vector<int> allSensorsAlarm() { return {-1, -1, 1, 1, 1, 1, 1, 1, -1}; }

TinyNet sprinkler() {
    TinyNet net;
    net.add(2, {}, {0.5, 0.5});
    net.add(2, {0}, {0.5, 0.5, 0.9, 0.1});
    net.add(2, {0}, {0.8, 0.2, 0.2, 0.8});
    net.add(2, {1, 2}, {1.0, 0.0, 0.1, 0.9, 0.1, 0.9, 0.01, 0.99});
    return net;
}

TinyNet threeLayerLoopy() {
    TinyNet net;
    net.add(3, {}, {0.6, 0.3, 0.1});                                   // 0
    net.add(2, {}, {0.7, 0.3});                                        // 1
    net.add(2, {0}, {0.9, 0.1, 0.5, 0.5, 0.2, 0.8});                   // 2
    net.add(3, {0, 1}, {0.7, 0.2, 0.1, 0.1, 0.3, 0.6, 0.3, 0.4, 0.3,   // 3
                        0.2, 0.2, 0.6, 0.05, 0.05, 0.9, 0.4, 0.4, 0.2});
    net.add(2, {2, 3}, {0.95, 0.05, 0.6, 0.4, 0.3, 0.7, 0.8, 0.2, 0.4, 0.6, 0.1, 0.9});  // 4
    net.add(2, {3}, {0.99, 0.01, 0.7, 0.3, 0.02, 0.98});               // 5
    net.add(3, {4, 5}, {0.8, 0.15, 0.05, 0.3, 0.3, 0.4, 0.1, 0.6, 0.3, 0.05, 0.05, 0.9});  // 6
    return net;
}

TinyNet chain(int length) {
    TinyNet net;
    net.add(2, {}, {0.3, 0.7});
    for (int v = 1; v < length; ++v) net.add(2, {v - 1}, {0.8, 0.2, 0.25, 0.75});
    return net;
}

TinyNet polytree() {
    TinyNet net;
    net.add(2, {}, {0.4, 0.6});                                          // 0
    net.add(3, {}, {0.2, 0.5, 0.3});                                     // 1
    net.add(2, {0, 1}, {0.9, 0.1, 0.6, 0.4, 0.3, 0.7, 0.8, 0.2, 0.5, 0.5, 0.1, 0.9});  // 2
    net.add(3, {2}, {0.7, 0.2, 0.1, 0.1, 0.3, 0.6});                     // 3
    net.add(2, {2}, {0.85, 0.15, 0.25, 0.75});                           // 4
    net.add(2, {3}, {0.6, 0.4, 0.3, 0.7, 0.05, 0.95});                   // 5
    return net;
}

}  // namespace testing_support
