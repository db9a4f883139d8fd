#include "fuzz/naive_runs.h"

namespace NFuzz {

std::vector<NTest::CRun<char>> NaiveRuns(const CCircuit& circuit) {
    return NTest::EnumerateNaively(circuit);
}

}  // namespace NFuzz
