#include "Figures.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <fstream>
#include <iomanip>
#include <sstream>

namespace bench {
namespace {

struct Target
{
    const char* operation;
    std::vector<std::string> subjects;
    double atMost;
};

const std::vector<Target>& Targets()
{
    static const std::vector<std::string> five{"Lilly", "5 on the grid", "5 off the grid"};
    static const std::vector<Target> targets{
        {"WordArray, unchanged", {"Lilly"}, 1.5},
        {"amplitude + WordArray", {"Lilly"}, 5},
        {"WriteStimCmds", {"500 on the grid"}, 2.5},
        {"WriteStimCmds", {"500 off the grid"}, 4},
        {"FromString", five, 2},
        {"ToString", five, 1.5},
    };
    return targets;
}

// How much longer the time per phase at 500 phases may be than at 50.
constexpr double LinearTolerance = 0.2;

std::vector<Operation> AllOperations()
{
    std::vector<Operation> all;
    for (const Subject& subject : Subjects())
        for (Operation& operation : OperationsOn(subject)) all.push_back(std::move(operation));
    return all;
}

// Three digits.
std::string Short(double value)
{
    std::ostringstream text;
    const double magnitude = std::fabs(value);
    text << std::fixed << std::setprecision(magnitude < 10 ? 2 : magnitude < 100 ? 1 : 0) << value;
    return text.str();
}

std::string FloorText(const Operation& operation)
{
    std::string text;
    for (const FloorKind kind : operation.floor)
        if (kind != FloorKind::Allocation) text += (text.empty() ? "" : " + ") + NameOf(kind);
    const auto allocations =
        std::count(operation.floor.begin(), operation.floor.end(), FloorKind::Allocation);
    if (allocations != 0) text += ", " + std::to_string(allocations) + " alloc.";
    return text;
}

bool HasChain(const Operation& operation)
{
    return std::count(operation.floor.begin(), operation.floor.end(), FloorKind::Chain) != 0;
}

const char* Verdict(bool met)
{
    return met ? "met" : "**missed**";
}

}  // namespace

void Figures::Add(const std::string& key, double time)
{
    const auto [entry, isNew] = m_times.emplace(key, time);
    if (!isNew) entry->second = std::min(entry->second, time);
}

void Figures::ReadInstructions(const std::string& path)
{
    std::ifstream in(path);
    for (std::string key, count; std::getline(in, key, '\t') && std::getline(in, count);)
        m_instructions[key] = count;
}

double Figures::Time(const std::string& name, const std::string& subject) const
{
    const auto found = m_times.find(Key(name, subject));
    return found == m_times.end() ? std::nan("") : found->second;
}

// Without the allocations; chain is the kind that counts as the chain.
double Figures::FloorOf(const Operation& operation, FloorKind chain) const
{
    double floor = 0;
    for (const FloorKind kind : operation.floor)
        if (kind != FloorKind::Allocation)
            floor += Time(NameOf(kind == FloorKind::Chain ? chain : kind), operation.subject);
    return floor;
}

// The time of an operation without its allowed allocations, divided by its floor.
double Figures::Ratio(const Operation& operation, FloorKind chain) const
{
    const auto allocations =
        std::count(operation.floor.begin(), operation.floor.end(), FloorKind::Allocation);
    const double allocation = Time(NameOf(FloorKind::Allocation), operation.subject);
    const double time =
        Time(operation.name, operation.subject) - static_cast<double>(allocations) * allocation;
    return time / FloorOf(operation, chain);
}

std::string Figures::Instructions(const Operation& operation) const
{
    const auto found = m_instructions.find(Key(operation.name, operation.subject));
    return found == m_instructions.end() ? "" : found->second;
}

void Figures::WriteTable(std::ostream& out) const
{
    out << "| Floor, ns |";
    const std::vector<Subject> subjects = Subjects();
    for (const Subject& subject : subjects) out << ' ' << subject.name << " |";
    out << "\n|---|";
    for (std::size_t i = 0; i < subjects.size(); ++i) out << "--:|";
    out << '\n';
    for (const FloorKind kind : AllFloors) {
        out << "| " << NameOf(kind) << " |";
        for (const Subject& subject : subjects) out << ' ' << Short(Time(NameOf(kind), subject.name)) << " |";
        out << '\n';
    }

    out << "\n| Operation | Pattern | Floor | Floor, ns | Time, ns | Ratio | Ratio, predicted | Allocations "
           "| "
           "Instructions |\n|---|---|---|--:|--:|--:|--:|--:|--:|\n";
    for (const Operation& operation : AllOperations()) {
        out << "| " << operation.name << " | " << operation.subject << " | " << FloorText(operation) << " | "
            << Short(FloorOf(operation, FloorKind::Chain)) << " | "
            << Short(Time(operation.name, operation.subject)) << " | " << Short(Ratio(operation)) << " | "
            << (HasChain(operation) ? Short(Ratio(operation, FloorKind::ChainPredicted)) : "") << " | "
            << AllocationsOf(operation) << " | " << Instructions(operation) << " |\n";
    }
}

void Figures::WriteTargets(std::ostream& out) const
{
    const std::vector<Operation> operations = AllOperations();
    out << "| Operation | Pattern | Floor | At most | Ratio | | Ratio, predicted |\n"
           "|---|---|---|--:|--:|---|--:|\n";
    for (const Target& target : Targets())
        for (const std::string& subject : target.subjects)
            for (const Operation& operation : operations) {
                if (operation.name != target.operation || operation.subject != subject) continue;
                const double ratio = Ratio(operation);
                out << "| " << operation.name << " | " << subject << " | " << FloorText(operation) << " | "
                    << target.atMost << " | " << Short(ratio) << " | " << Verdict(ratio <= target.atMost)
                    << " | "
                    << (HasChain(operation) ? Short(Ratio(operation, FloorKind::ChainPredicted)) : "")
                    << " |\n";
            }
}

void Figures::WriteLinear(std::ostream& out) const
{
    out << "| Operation | Grid | 50 phases, ns per phase | 500 phases, ns per phase | Change | |\n"
           "|---|---|--:|--:|--:|---|\n";
    for (const Operation& operation : OperationsOn(Lilly()))
        for (const std::string grid : {" on the grid", " off the grid"}) {
            const double few = Time(operation.name, "50" + grid) / 50;
            const double many = Time(operation.name, "500" + grid) / 500;
            if (std::isnan(few)) continue;
            const double change = many / few - 1;
            out << "| " << operation.name << " |" << grid << " | " << Short(few) << " | " << Short(many)
                << " | " << std::showpos << std::lround(100 * change) << std::noshowpos << " % | "
                << Verdict(change <= LinearTolerance) << " |\n";
        }
}

// Nanoseconds per phase, for the chart: one line per number of phases.
void Figures::WritePhases(std::ostream& out) const
{
    const std::array<std::string, 6> names{NameOf(FloorKind::Chain), "PhasesValid", "WriteStimCmds",
                                           "amplitude + WordArray",  "FromString",  "ToString"};
    out << "phases";
    for (const std::string grid : {" on the grid", " off the grid"})
        for (const std::string& name : names) out << '\t' << name << grid;
    for (const int phases : {5, 50, 500}) {
        out << '\n' << phases;
        for (const std::string grid : {" on the grid", " off the grid"})
            for (const std::string& name : names)
                out << '\t' << Time(name, std::to_string(phases) + grid) / phases;
    }
    out << '\n';
}

bool Figures::Write(const std::string& directory) const
{
    std::ofstream table(directory + "/table.md");
    WriteTable(table);
    std::ofstream targets(directory + "/targets.md");
    WriteTargets(targets);
    targets << '\n';
    WriteLinear(targets);
    std::ofstream phases(directory + "/phases.tsv");
    WritePhases(phases);
    for (std::ofstream* file : {&table, &targets, &phases}) {
        file->close();
        if (!*file) return false;
    }
    return true;
}

}  // namespace bench
