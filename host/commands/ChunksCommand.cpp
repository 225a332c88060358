#include "host/commandline/Arguments.h"
#include "host/commandline/CommandLine.h"
#include "host/commandline/ReportOnFiles.h"
#include "host/commands/Commands.h"
#include "host/files/InputFile.h"
#include "host/files/JournalledEdit.h"
#include "host/files/OutputFile.h"
#include "host/layout/ChunkBar.h"
#include "host/layout/ChunkWalk.h"
#include "host/layout/DecoderNotes.h"
#include "host/terminal/Failure.h"
#include "host/terminal/ForEachFile.h"
#include "host/terminal/FormatText.h"
#include "host/terminal/Interrupt.h"
#include "host/terminal/Terminal.h"

#include <algorithm>
#include <array>
#include <iomanip>
#include <iostream>
#include <map>
#include <nlohmann/json.hpp>
#include <unistd.h>
#include <utility>

namespace w64 {

namespace {

struct ChunksOptions {
    std::vector<std::string> inputs;
    bool json = false;
    std::string extract;  // NAME or NAME=N
    std::string output;   // for the chunk's data; "-" for standard output
    bool force = false;
};

// The chunks found in one file.
struct ChunkList {
    const std::string& name;
    int64_t fileBytes;
    std::vector<WalkedChunk> chunks;
    int64_t bytesInNoChunk;  // from the last chunk to the end of the file
    bool isDamaged;
};

ChunkList ListChunks(const std::string& name) {
    InputFile file(name);
    ChunkList list{name, file.Size(), {}, 0, false};
    ChunkWalk walk(file, ReadOuterSize(file));
    while (const auto chunk = walk.Next()) {
        list.chunks.push_back(*chunk);
        list.isDamaged = list.isDamaged || chunk->fit != ChunkFit::Whole;
    }
    list.bytesInNoChunk = walk.BytesLeft();
    list.isDamaged = list.isDamaged || walk.StoppedBy() != ChunkWalk::Stop::FileEnd;
    return list;
}

void Describe(const ChunkList& list, Json& json) {
    json["bytes"] = list.fileBytes;
    json["chunks"] = Json::array();
    for (const WalkedChunk& chunk : list.chunks) {
        json["chunks"].push_back({{"name", ChunkName(chunk.identifier)},
                                  {"offset", chunk.position},
                                  {"bytes", chunk.dataBytes},
                                  {"padding", chunk.paddingBytes},
                                  {"kind", NameOf(KindOfChunk(chunk.identifier))}});
        if (chunk.fit != ChunkFit::Whole) json["chunks"].back()["sizeField"] = chunk.sizeField;
    }
    if (list.bytesInNoChunk != 0) json["bytesInNoChunk"] = list.bytesInNoChunk;
}

// Columns are as wide as their contents.
class Table {
public:
    explicit Table(const std::vector<WalkedChunk>& chunks) {
        for (const WalkedChunk& chunk : chunks) Fit(Cells(chunk));
    }

    void Print(const WalkedChunk& chunk) const { Print(Cells(chunk)); }
    void PrintTitles() const { Print(kTitles); }

private:
    using Row = std::array<std::string, 5>;

    static Row Cells(const WalkedChunk& chunk) {
        return {ChunkName(chunk.identifier), NameOf(KindOfChunk(chunk.identifier)), Grouped(chunk.position),
                Grouped(chunk.dataBytes), Grouped(chunk.paddingBytes)};
    }

    void Fit(const Row& row) {
        for (size_t i = 0; i < row.size(); ++i) widths_[i] = std::max(widths_[i], row[i].size());
    }

    void Print(const Row& row) const {
        for (size_t i = 0; i < row.size(); ++i) {
            std::cout << "  " << (i < 2 ? std::left : std::right) << std::setw(static_cast<int>(widths_[i]))
                      << row[i];
        }
        std::cout << "\n";
    }

    inline static const Row kTitles = {"Chunk", "Kind", "Offset", "Bytes", "Padding"};
    std::array<size_t, kTitles.size()> widths_ = {5, 6, 6, 5, 7};
};

const char* Meaning(ChunkKind kind) {
    switch (kind) {
    case ChunkKind::Format:
        return ", the sample format";
    case ChunkKind::Tags:
        return ", metadata";
    case ChunkKind::Slack:
        return ", room for tags to grow";
    case ChunkKind::None:
        return ", in no chunk";
    default:
        return "";
    }
}

void PrintBar(const ChunkList& list) {
    constexpr size_t kMinColumns = 24;
    constexpr size_t kDefaultColumns = 72;
    constexpr size_t kIndent = 2;
    ChunkBar bar;
    std::map<ChunkKind, int64_t> bytesOf;
    for (const WalkedChunk& chunk : list.chunks) {
        const ChunkKind kind = KindOfChunk(chunk.identifier);
        bar.Add(kind, chunk.End() - chunk.position);
        bytesOf[kind] += chunk.dataBytes;
    }
    if (list.bytesInNoChunk != 0) {
        bar.Add(ChunkKind::None, list.bytesInNoChunk);
        bytesOf[ChunkKind::None] = list.bytesInNoChunk;
    }
    const size_t columns = TerminalColumns(STDOUT_FILENO).value_or(kDefaultColumns);
    const bool colored = ShowsColors(STDOUT_FILENO);
    std::cout << "\n  " << bar.Line(std::max(columns, kMinColumns) - kIndent, colored) << "\n";
    const auto width = static_cast<int>(Grouped(list.fileBytes).size());
    for (const auto& [kind, bytes] : bytesOf) {
        std::cout << "  " << ChunkBar::Symbol(kind, colored) << "  " << std::left << std::setw(6)
                  << NameOf(kind) << "  " << std::right << std::setw(width) << Grouped(bytes) << " bytes"
                  << Meaning(kind) << "\n";
    }
}

void Print(const ChunkList& list, bool isFirst) {
    std::cout << (isFirst ? "" : "\n") << Visible(list.name) << ", " << Grouped(list.fileBytes) << " bytes\n";
    const Table table(list.chunks);
    table.PrintTitles();
    for (const WalkedChunk& chunk : list.chunks) table.Print(chunk);
    if (list.fileBytes > kOuterHeaderBytes) PrintBar(list);
}

struct ChunkChoice {
    std::string name;
    unsigned number = 1;  // among those of the name
};

// "bext", "LIST=2"; a name may have a "=" too.
ChunkChoice ParseChoice(const std::string& text) {
    const size_t sign = text.rfind('=');
    unsigned number = 0;
    const bool hasNumber = sign != text.npos && CLI::detail::lexical_cast(text.substr(sign + 1), number);
    if (!hasNumber) return {text};
    if (number == 0) throw UsageError("--extract: chunks are counted from 1");
    return {text.substr(0, sign), number};
}

WalkedChunk Find(const ChunkChoice& choice, InputFile& file) {
    unsigned found = 0;
    ChunkWalk walk(file, ReadOuterSize(file));
    while (const auto chunk = walk.Next()) {
        if (ChunkName(chunk->identifier) != choice.name || ++found < choice.number) continue;
        if (!chunk->HasKnownEnd()) throw Failure("the chunk is not whole; w64 check tells how");
        return *chunk;
    }
    const std::string there = found == 0 ? "has no chunk '" : "has only " + std::to_string(found) + " of '";
    throw Failure(there + choice.name + "'; w64 chunks lists what it has");
}

void Extract(const std::string& name, const ChunkChoice& choice, XFile& output) {
    constexpr int64_t kBlockBytes = 1 << 20;
    InputFile file(name);
    const WalkedChunk chunk = Find(choice, file);
    std::vector<uint8_t> block(static_cast<size_t>(std::min(chunk.dataBytes, kBlockBytes)));
    if (!file.SetPosition(chunk.DataPosition())) throw SystemFailure("cannot read the file");
    for (int64_t left = chunk.dataBytes; left > 0; left -= kBlockBytes) {
        Interrupt::Check();
        const auto bytes = static_cast<size_t>(std::min(left, kBlockBytes));
        if (file.Read(block.data(), bytes) < bytes) throw SystemFailure("cannot read the file");
        if (!output.Write(block.data(), bytes)) throw SystemFailure("cannot write the data of the chunk");
    }
}

bool ExtractCommand(const ChunksOptions& options, CommandContext context) {
    if (options.inputs.size() != 1) throw UsageError("--extract takes one file");
    if (options.output.empty()) throw UsageError("--extract needs -o, a file or - for standard output");
    const ChunkChoice choice = ParseChoice(options.extract);
    return ForEachFile(options.inputs, 1, context.console, [&](size_t i) {
        if (options.output == "-") {
            XFile stream;
            stream.Open(reinterpret_cast<void*>(intptr_t{STDOUT_FILENO}));
            return Extract(options.inputs[i], choice, stream);
        }
        RefuseToReplaceInput(options.inputs[i], options.output);
        OutputFile output(options.output, options.force);
        Extract(options.inputs[i], choice, output.File());
        output.Commit();
    });
}

bool ChunksCommand(const ChunksOptions& options, CommandContext context) {
    if (!options.extract.empty()) return ExtractCommand(options, context);
    if (!options.output.empty()) throw UsageError("-o is for --extract");
    bool isFirst = true;
    return ReportOnFiles(options.inputs, options.json, context.console, [&](size_t i, Json* json) {
        NoteInterruptedEdit(options.inputs[i], context.console);
        const ChunkList list = ListChunks(options.inputs[i]);
        if (json) {
            Describe(list, *json);
        } else {
            Print(list, std::exchange(isFirst, false));
        }
        if (list.isDamaged) {
            const std::string damage = DescribeDamage(list.name);
            throw Failure(damage.empty() ? "the layout is damaged; w64 check tells how" : damage);
        }
    });
}

}  // namespace

void AddChunks(CLI::App& app, CommandLine& line) {
    auto& options = line.Keep<ChunksOptions>();
    CLI::App* command = app.add_subcommand("chunks", "Show the chunks of a file and where they are");
    line.OnCommand(command, ChunksCommand, options);
    AddFiles(command, options.inputs);
    AddJSON(command, options.json);
    command->add_option("--extract", options.extract, "Write the data of a chunk, the N-th of that name")
        ->type_name("NAME[=N]")
        ->excludes("--json");
    command->add_option("-o,--output", options.output, "Where to write it, - for standard output")
        ->type_name("OUT");
    AddForce(command, options.force);
}

}  // namespace w64
