#include "lib/sampling/share_encoding.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <stdexcept>
#include <type_traits>
#include <vector>

namespace samplenet {

namespace {

constexpr std::uint32_t kPlanTag = 0x6e6c7053;   // "Spln"
constexpr std::uint32_t kShareTag = 0x72685353;  // "SShr"
constexpr std::uint32_t kVersion = 1;
constexpr std::uint32_t kMostStates = 1 << 16;

class Writer {
public:
    template <typename T>
    void put(const T& value) {
        static_assert(std::is_trivially_copyable_v<T>);
        bytes.append(reinterpret_cast<const char*>(&value), sizeof value);
    }
    template <typename T>
    void putAll(const std::vector<T>& values) {
        put<std::uint64_t>(values.size());
        for (const T& value : values) put(value);
    }
    // The field walks' verbs: a value as the type it has on the wire.
    template <typename Wire, typename T>
    void field(const T& value) {
        put(static_cast<Wire>(value));
    }
    template <typename T>
    void fields(const std::vector<T>& values) {
        putAll(values);
    }
    std::string bytes;
};

class Reader {
public:
    Reader(std::string_view bytes, const char* what) : bytes(bytes), what(what) {}

    template <typename T>
    T get() {
        static_assert(std::is_trivially_copyable_v<T>);
        if (bytes.size() < sizeof(T)) refuse("it ends early");
        T value;
        std::memcpy(&value, bytes.data(), sizeof value);
        bytes.remove_prefix(sizeof value);
        return value;
    }
    template <typename T>
    std::vector<T> getAll() {
        const auto count = get<std::uint64_t>();
        if (count > bytes.size() / sizeof(T)) refuse("it ends early");
        std::vector<T> values(count);
        for (T& value : values) value = get<T>();
        return values;
    }
    template <typename Wire, typename T>
    void field(T& value) {
        value = static_cast<T>(get<Wire>());
    }
    template <typename T>
    void fields(std::vector<T>& values) {
        values = getAll<T>();
    }
    void expectHeader(std::uint32_t tag) {
        if (get<std::uint32_t>() != tag) refuse("it does not start as one");
        if (get<std::uint32_t>() != kVersion) refuse("it comes from another version of samplenet");
    }
    void expectEnd() const {
        if (!bytes.empty()) refuse("bytes follow its end");
    }
    void check(bool holds, const char* why) const {
        if (!holds) refuse(why);
    }
    [[noreturn]] void refuse(const char* why) const {
        throw std::invalid_argument(std::string("not a ") + what + " of this build: " + why);
    }

private:
    std::string_view bytes;
    const char* what;
};

// Each record's fields, in their order on the wire, listed once for the
// writer and the reader alike (the record is const for the writer).
template <typename Archive, typename Node>
void nodeFields(Archive& archive, Node& node) {
    archive.template field<std::int32_t>(node.evidence);
    archive.template field<std::uint32_t>(node.stateCount);
    archive.template field<std::uint32_t>(node.firstParent);
    archive.template field<std::uint32_t>(node.parentCount);
    archive.template field<std::uint64_t>(node.tableOffset);
    archive.template field<std::uint64_t>(node.columnOffset);
    archive.template field<std::uint64_t>(node.firstSum);
    archive.template field<std::uint8_t>(node.tallied);
}

// The plan after its nodes.
template <typename Archive, typename Plan>
void planFields(Archive& archive, Plan& plan) {
    archive.fields(plan.parents);
    archive.fields(plan.columnStrides);
    archive.fields(plan.entries);
    archive.fields(plan.fallbacks);
    archive.fields(plan.likelihoods);
    archive.template field<std::uint64_t>(plan.sumCount);
    archive.fields(plan.jointNodes);
    archive.fields(plan.jointStrides);
    archive.template field<std::uint64_t>(plan.firstJointSum);
    archive.template field<std::uint64_t>(plan.jointEntries);
    archive.template field<std::int64_t>(plan.drawnNodes);
    archive.template field<std::int32_t>(plan.widestNode);
}

// A share's sums after its generator state.
template <typename Archive, typename Sums>
void sumFields(Archive& archive, Sums& sums) {
    archive.fields(sums.perState);
    archive.fields(sums.perStateSquares);
    archive.template field<double>(sums.total);
    archive.template field<double>(sums.totalSquares);
    archive.template field<std::int32_t>(sums.scale);
    archive.template field<std::int32_t>(sums.largestExponent);
    archive.template field<std::int64_t>(sums.drawn);
    archive.template field<std::int64_t>(sums.positive);
    archive.template field<std::int64_t>(sums.impossible);
    archive.template field<std::int64_t>(sums.lostToRange);
    archive.template field<std::int64_t>(sums.outsideDouble);
}

// Whether `first` + `count` items lie within `size`, without overflow.
bool fits(std::uint64_t first, std::uint64_t count, std::uint64_t size) { return first <= size && count <= size - first; }

// The sampler reads a node's column at the sum of its parents' states times
// their strides, and its sums at its states: both must stay within the
// tables, and parents must come first so that their states are drawn.
void checkNodes(const Reader& in, const SamplingPlan& plan) {
    long drawn = 0;
    int widest = 0;
    for (std::size_t i = 0; i < plan.nodes.size(); ++i) {
        const SamplingPlan::Node& node = plan.nodes[i];
        in.check(node.stateCount >= 1 && node.stateCount <= kMostStates, "a node has no states or too many");
        in.check(fits(node.firstParent, node.parentCount, plan.parents.size()), "a node's parents lie outside");
        std::uint64_t lastColumn = 0;
        for (std::uint32_t k = node.firstParent; k < node.firstParent + node.parentCount; ++k) {
            in.check(plan.parents[k] < i, "a node comes before its parent");
            const std::uint64_t stride = plan.columnStrides[k];
            in.check(stride <= std::uint64_t{1} << 32, "a stride is out of range");
            lastColumn += (plan.nodes[plan.parents[k]].stateCount - 1) * stride;
            in.check(lastColumn < std::uint64_t{1} << 32, "a node has too many columns");
        }
        in.check(fits(node.firstSum, node.stateCount, plan.sumCount), "a node's sums lie outside");
        if (node.evidence >= 0) {
            in.check(static_cast<std::uint32_t>(node.evidence) < node.stateCount, "an observed state is out of range");
            in.check(fits(node.tableOffset, lastColumn + 1, plan.likelihoods.size()), "a table lies outside");
        } else {
            in.check(node.evidence == -1, "a node's evidence is out of range");
            in.check(fits(node.tableOffset, (lastColumn + 1) * node.stateCount, plan.entries.size()),
                     "a table lies outside");
            in.check(fits(node.columnOffset, lastColumn + 1, plan.fallbacks.size()), "a table lies outside");
            for (std::uint64_t q = 0; q <= lastColumn; ++q) {
                const std::int32_t fallback = plan.fallbacks[node.columnOffset + q];
                in.check(fallback >= -1 && fallback < static_cast<std::int64_t>(node.stateCount),
                         "a fallback state is out of range");
            }
            ++drawn;
        }
        widest = std::max(widest, static_cast<int>(node.stateCount));
    }
    in.check(drawn == plan.drawnNodes && widest == plan.widestNode, "its counts disagree with its nodes");
}

void checkJoint(const Reader& in, const SamplingPlan& plan) {
    in.check(plan.jointNodes.size() == plan.jointStrides.size(), "its joint's strides do not match its nodes");
    in.check(fits(plan.firstJointSum, plan.jointEntries, plan.sumCount), "its joint's sums lie outside");
    std::uint64_t lastEntry = 0;
    for (std::size_t k = 0; k < plan.jointNodes.size(); ++k) {
        in.check(plan.jointNodes[k] < plan.nodes.size(), "a joint node is out of range");
        lastEntry += std::uint64_t{plan.nodes[plan.jointNodes[k]].stateCount - 1} * plan.jointStrides[k];
        in.check(lastEntry < std::uint64_t{1} << 32, "its joint has too many entries");
    }
    in.check(plan.jointNodes.empty() ? plan.jointEntries == 0 : lastEntry < plan.jointEntries,
             "its joint's entries lie outside");
}

}  // namespace

std::string encodePlan(const SamplingPlan& plan, Generator generator) {
    Writer out;
    out.put(kPlanTag);
    out.put(kVersion);
    out.put<std::uint8_t>(generator == Generator::Standard ? 0 : 1);
    out.put<std::uint64_t>(plan.nodes.size());
    for (const SamplingPlan::Node& node : plan.nodes) nodeFields(out, node);
    planFields(out, plan);
    return std::move(out.bytes);
}

PlanAndGenerator decodePlan(std::string_view bytes) {
    Reader in(bytes, "sampling plan");
    in.expectHeader(kPlanTag);
    PlanAndGenerator result;
    const auto generator = in.get<std::uint8_t>();
    in.check(generator <= 1, "its generator is unknown");
    result.generator = generator == 0 ? Generator::Standard : Generator::Wide;
    SamplingPlan& plan = result.plan;
    const auto nodeCount = in.get<std::uint64_t>();
    in.check(nodeCount <= bytes.size(), "it ends early");
    plan.nodes.resize(nodeCount);
    for (SamplingPlan::Node& node : plan.nodes) nodeFields(in, node);
    planFields(in, plan);
    in.expectEnd();
    in.check(plan.parents.size() == plan.columnStrides.size(), "its strides do not match its parents");
    checkNodes(in, plan);
    checkJoint(in, plan);
    return result;
}

std::string encodeShare(const JobShare& share) {
    Writer out;
    out.put(kShareTag);
    out.put(kVersion);
    out.put(share.state);
    sumFields(out, share.sums);
    return std::move(out.bytes);
}

JobShare decodeShare(std::string_view bytes, std::size_t sumCount) {
    Reader in(bytes, "job's share");
    in.expectHeader(kShareTag);
    JobShare share{WeightSums(0), in.get<std::uint64_t>()};
    sumFields(in, share.sums);
    in.expectEnd();
    in.check(share.sums.perState.size() == sumCount && share.sums.perStateSquares.size() == sumCount,
             "its sums do not fit the plan");
    return share;
}

}  // namespace samplenet
