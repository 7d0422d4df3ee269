#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "Subjects.h"

// What is measured: the operations of the library and their floors, in the same run.
namespace bench {

// Work that is repeated, each time with the result of the time before, so that no two runs overlap.
class Work
{
 public:
    virtual ~Work() = default;
    virtual void Run(int times) = 0;
};

using MakeWork = std::function<std::unique_ptr<Work>()>;

enum class FloorKind
{
    Chain,           // the arithmetic of one pass over the phases, each waiting for the one before
    ChainPredicted,  // the same arithmetic with a branch that the processor predicts
    Copy,            // as many words as the pattern has
    NumbersRead,     // the numbers of the pattern's text
    NumbersPrinted,
    Clear,       // a pattern's memory filled with zeros
    Allocation,  // memory for the list of phases, allocated and freed
};

struct Operation
{
    std::string name;
    std::string subject;
    MakeWork make;
    std::vector<FloorKind> floor;  // the work that it needs; a kind is repeated as often as it is needed
    int maxAllocations;
};

constexpr FloorKind AllFloors[] = {FloorKind::Chain,       FloorKind::ChainPredicted, FloorKind::Copy,
                                   FloorKind::NumbersRead, FloorKind::NumbersPrinted, FloorKind::Clear,
                                   FloorKind::Allocation};

std::string NameOf(FloorKind kind);

// The floor of a kind for a pattern.
MakeWork FloorFor(FloorKind kind, const Subject& subject);

std::vector<Operation> OperationsOn(const Subject& subject);

// The most allocations of one run of an operation.
long AllocationsOf(const Operation& operation);

}  // namespace bench
