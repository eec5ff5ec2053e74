#include "emit.h"

#include <cstdio>
#include <utility>
#include <vector>

#include "divergence.h"
#include "flatten.h"
#include "flow_regions.h"
#include "lane_writer.h"
#include "needs.h"
#include "normalize.h"
#include "row_writer.h"

namespace Vantra::Pixelc {

namespace {

void DescribeReads(const Analysis& analysis, CodeText& out) {
  std::string along;
  std::string once;
  std::string free;
  for (BlockId block = 0; block < analysis.program.blocks.size(); ++block) {
    for (const Instruction& read : analysis.program.blocks[block].instructions) {
      if (read.op != Op::kSample && read.op != Op::kFetch) continue;
      bool is_needed = false;
      for (const ValueId value : read.results) {
        is_needed |= analysis.needs.Value(Function::kAnywhere, value) ||
                     analysis.needs.Value(Function::kRow, value);
      }
      if (!is_needed) continue;
      std::string& list = analysis.needs.IsRowValue(read.results[0])   ? once
                          : analysis.divergence.IsRowRead(read, block) ? along
                                                                       : free;
      list += (list.empty() ? "" : ", ");
      list += "c" + std::to_string(read.results[0]);
    }
  }
  if (!along.empty()) out.Line("// Read along rows: " + along + ".");
  if (!once.empty()) out.Line("// Read once a row: " + once + ".");
  if (!free.empty()) out.Line("// Read at places of each pixel's own: " + free + ".");
}

void DefineRecords(const Analysis& analysis, CodeText& out) {
  for (BlockId block = 0; block < analysis.program.blocks.size(); ++block) {
    for (const Record& record : RecordsOf(analysis, block)) {
      CodeText fields;
      std::string line;
      for (std::size_t i = 0; i < record.values.size(); ++i) {
        const Type type = analysis.program.types[record.values[i]];
        const std::string name = "u" + std::to_string(record.values[i]);
        line += line.empty() ? std::string(ScalarType(type)) + " " + name : ", " + name;
        if (i + 1 == record.values.size() || analysis.program.types[record.values[i + 1]] != type) {
          fields.Line(std::exchange(line, {}) + ";");
        }
      }
      for (const ValueId value : record.reads) {
        fields.Line("RowRead read" + std::to_string(value) + ";");
      }
      out.Block("struct " + record.type, fields);
      out.EndStructure();
      out.Line("");
    }
  }
}

CodeText WriteKernel(const Analysis& analysis, bool has_row) {
  const Program& program = analysis.program;
  const bool has_interval = analysis.needs.HasRowReads();
  const std::string left = program.is_compute ? "0" : "arguments.left";
  const std::string right = program.is_compute ? "arguments.width" : "arguments.right";
  const auto lanes = [&](const std::string& suffix, const std::string& from,
                         const std::string& to) {
    return program.name + suffix + "(arguments, " + from + ", " + to + ", y" +
           (has_row ? ", tape.Read());" : ");");
  };
  CodeText row;
  if (has_interval) {
    // The last vector may reach beyond the columns to draw.
    row.Line("Interval interval{" + left + ", " + right + " + kLanes - 1};");
  }
  if (has_row) {
    row.Line("tape.Clear();");
    row.Line(program.name + "_Row(arguments, y, tape" + (has_interval ? ", &interval);" : ");"));
    row.Line("if (tape.Failed()) return false;");
  }
  if (has_interval) {
    row.Line("const Interval inner = VectorsInside(interval, " + left + ", " + right + ");");
    row.Line(lanes("_LanesAnywhere", left, "inner.first"));
    row.Line(lanes("_Lanes", "inner.first", "inner.end"));
    row.Line(lanes("_LanesAnywhere", "inner.end", right));
  } else {
    row.Line(lanes("_Lanes", left, right));
  }
  CodeText body;
  if (has_row) body.Line("Tape& tape = ThreadTape();");
  body.Block("for (int32_t y = top; y < bottom; ++y)", row);
  body.Line("return true;");
  CodeText kernel;
  kernel.Block("bool " + program.name + "(const " +
                   (program.is_compute ? "ComputeArguments" : "PixelArguments") +
                   "& arguments, int32_t top, int32_t bottom)",
               body);
  return kernel;
}

// Brings a program into the form that lanes run fastest.
void Prepare(Program& program) {
  Normalize(program);
  for (bool changed = true; changed;) {
    const FlowRegions flow(program);
    const Divergence divergence(program, flow);
    changed = RaiseUniforms(program, flow, divergence);
    changed |= FlattenBranches(program, divergence);
    // What the divergence tells is true of the program as it was.
    if (!changed) changed = MultiplyByReciprocals(program, divergence);
    if (changed) Normalize(program);
  }
  SimplifyValues(program);
  Normalize(program);
}

}  // namespace

std::string EmitProgram(Program program, std::uint64_t hash) {
  Prepare(program);
  const FlowRegions flow(program);
  const Divergence divergence(program, flow);
  const Needs needs(program, flow, divergence);
  const Analysis analysis{program, flow, divergence, needs};

  char number[24];
  std::snprintf(number, sizeof(number), "0x%016llX", static_cast<unsigned long long>(hash));
  const CodeText row = RowWriter(analysis).Write();
  const bool has_row = !row.Empty();

  CodeText out;
  out.Line("// The program " + program.name + ", translated by pixelc.");
  DescribeReads(analysis, out);
  out.Line("");
  out.Line("#ifdef VANTRIX_KERNEL_ENTRIES");
  out.Line("");
  out.Line("VANTRIX_KERNEL_ENTRY(" + program.name + ", " + number + ", " +
           (program.is_compute ? "compute" : "pixel") + ")");
  out.Line("");
  out.Line("#else");
  out.Line("");
  DefineRecords(analysis, out);
  if (has_row) {
    out.Line("// What is the same for all pixels of row y.");
    out.Append(row);
    out.Line("");
  }
  if (needs.HasRowReads()) {
    out.Line("// Pixels of row y from x up to `end`, inside the row's interval.");
    out.Append(LaneWriter(analysis, Function::kLanes).Write(program.name + "_Lanes", has_row));
    out.Line("");
    out.Line("// The same outside of it.");
    out.Append(
        LaneWriter(analysis, Function::kAnywhere).Write(program.name + "_LanesAnywhere", has_row));
  } else {
    out.Line("// Pixels of row y from x up to `end`.");
    out.Append(LaneWriter(analysis, Function::kAnywhere).Write(program.name + "_Lanes", has_row));
  }
  out.Line("");
  out.Append(WriteKernel(analysis, has_row));
  out.Line("");
  out.Line("#endif");
  return out.Print();
}

}  // namespace Vantra::Pixelc
