// cuctl topo|filedict show DOC: board topologies and file dictionaries as trees.
#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <cstring>
#include <memory>
#include <nlohmann/json.hpp>

#include "include/boardtopology.h"
#include "include/filedictionary.h"
#include "tools/cuctl/document.hpp"
#include "tools/cuctl/output.hpp"

namespace cuctl {
namespace {

using nlohmann::ordered_json;

int32_t ReadTopology(const char *json, jsmntok_t *tokens, const char *label, uint32_t count,
                     void *record) {
  if (json == nullptr) return 1;
  JsonWalkContext context = {json, tokens, 0, 0, count, 0};
  processObject(&context, label, 0, static_cast<int32_t>(strlen(json)), 0, record,
                deserialize_rfAEBoardTopology);
  return 0;
}

std::string Text(const char *text) {
  return text == nullptr ? "" : text;
}

/// One node of what is printed; the same tree gives text, JSON and Graphviz.
struct Node {
  std::string label;   // for people
  std::string detail;  // beside it
  ordered_json data;
  std::vector<Node> children;
};

Node DeviceNode(const rfAEBoardTopologyAEDevice &device) {
  Node node;
  node.label = Text(device.Name);
  node.detail = fmt::format("{} at 0x{:02x}", Text(device.Type), device.address);
  node.data = {
      {"kind", "device"},        {"name", Text(device.Name)},     {"type", Text(device.Type)},
      {"class", device.ClassID}, {"instance", device.InstanceID}, {"address", device.address}};
  for (uint32_t i = 0; i < device.SensorList.count; ++i) {
    const rfAEBoardTopologyAESensor &sensor = device.SensorList.list[i];
    Node child;
    child.label = Text(sensor.Name);
    child.detail = fmt::format("{} #{}", Text(sensor.Type), sensor.Sensorid);
    child.data = {{"kind", "sensor"},          {"name", Text(sensor.Name)},
                  {"type", Text(sensor.Type)}, {"number", sensor.Sensorid},
                  {"lun", sensor.Lun},         {"cacheable", sensor.Cacheable != 0}};
    node.children.push_back(std::move(child));
  }
  return node;
}

Node TopologyNode(const rfAEBoardTopology &board) {
  Node root;
  root.label = Text(board.TopologyName);
  root.detail = Text(board.platformid);
  root.data = {{"kind", "board"}, {"name", root.label}, {"platform", root.detail}};
  for (uint32_t b = 0; b < board.AEBus.count; ++b) {
    const rfAEBoardTopologyAEBus &bus = board.AEBus.list[b];
    Node bus_node;
    bus_node.label = Text(bus.Name);
    bus_node.detail = fmt::format("{} {}", Text(bus.protocol), Text(bus.bus));
    bus_node.data = {{"kind", "bus"}, {"name", bus_node.label}, {"number", bus.id}};
    for (uint32_t s = 0; s < bus.AEBUSSegment.count; ++s) {
      const rfAEBoardTopologyAEBUSSegment &segment = bus.AEBUSSegment.list[s];
      Node segment_node;
      segment_node.label = "segment " + Text(segment.segmentpath);
      segment_node.detail = Text(segment.powerstate);
      segment_node.data = {
          {"kind", "segment"}, {"path", Text(segment.segmentpath)}, {"power", segment_node.detail}};
      if (segment.AESegmentDevice.Name != nullptr)
        segment_node.children.push_back(DeviceNode(segment.AESegmentDevice));
      for (uint32_t d = 0; d < segment.AEDevice.count; ++d)
        segment_node.children.push_back(DeviceNode(segment.AEDevice.list[d]));
      bus_node.children.push_back(std::move(segment_node));
    }
    root.children.push_back(std::move(bus_node));
  }
  return root;
}

void Release(rfAEBoardTopology &board) {
  for (uint32_t b = 0; b < board.AEBus.count; ++b)
    for (uint32_t s = 0; s < board.AEBus.list[b].AEBUSSegment.count; ++s) {
      rfAEBoardTopologyAEBUSSegment &segment = board.AEBus.list[b].AEBUSSegment.list[s];
      // What the releases leave to their callers.
      for (uint32_t d = 0; d < segment.AEDevice.count; ++d)
        free_rfAEBoardTopologyAESensorArray(&segment.AEDevice.list[d].SensorList);
      free_rfAEBoardTopologyAESensorArray(&segment.AESegmentDevice.SensorList);
      free_rfAEBoardTopologyAEDevice(&segment.AESegmentDevice);
    }
  free_rfAEBoardTopology(&board);
}

const char *ActionName(uint8_t action) {
  static constexpr const char *kNames[] = {"overwrite", "preserve", "merge", "remove", "other"};
  return kNames[action < 5 ? action : 4];
}

std::string Joined(const rfStringArray &texts) {
  std::string joined;
  for (uint32_t i = 0; i < texts.count; ++i)
    joined += (i == 0 ? "" : ", ") + Text(texts.list[i].text);
  return joined;
}

Node DictionaryNode(const rfAEFileDictionary &dictionary) {
  Node root;
  root.label = "files";
  root.detail = fmt::format("version {}, {} to {}", Text(dictionary.version),
                            Text(dictionary.src_root_path), Text(dictionary.dest_root_path));
  root.data = {{"kind", "dictionary"},
               {"version", Text(dictionary.version)},
               {"source", Text(dictionary.src_root_path)},
               {"destination", Text(dictionary.dest_root_path)}};
  for (uint32_t i = 0; i < dictionary.filelist.count; ++i) {
    const rfAEFileActionList &entry = dictionary.filelist.list[i];
    Node node;
    node.label = Joined(entry.filename);
    node.detail =
        fmt::format("{}, restore {}, preserve {}{}{}", ActionName(entry.action),
                    ActionName(entry.restoredefault), ActionName(entry.preserve),
                    entry.always ? ", always" : "", entry.isdirectory ? ", directory" : "");
    node.data = {{"kind", "files"},
                 {"names", node.label},
                 {"except", Joined(entry.fileNameExclude)},
                 {"action", ActionName(entry.action)},
                 {"restore", ActionName(entry.restoredefault)},
                 {"preserve", ActionName(entry.preserve)}};
    root.children.push_back(std::move(node));
  }
  return root;
}

void PrintText(const Node &node, size_t depth, const Options &options) {
  fmt::print("{}{}{}\n", std::string(depth * 2, ' '), Shown(node.label, options),
             node.detail.empty() ? "" : In(Colour::kDim, "  " + Shown(node.detail, options)));
  for (const Node &child : node.children) PrintText(child, depth + 1, options);
}

void PrintJsonLines(const Node &node, int parent, int &next) {
  const int id = next++;
  ordered_json data = {{"id", id}, {"parent", parent}};
  data.update(node.data);
  PrintJson(data);
  for (const Node &child : node.children) PrintJsonLines(child, id, next);
}

/// The deepest nodes (sensors) become the lines of their parent's box: a board of 150 sensors stays
/// readable.
void PrintDot(const Node &node, int parent, int &next, const Options &options) {
  const int id = next++;
  std::string label = Shown(node.label, options);
  if (!node.detail.empty()) label += "\n" + Shown(node.detail, options);
  std::vector<const Node *> boxes;
  for (const Node &child : node.children) {
    if (child.data["kind"] == "sensor")
      label += "\n- " + Shown(child.label, options) + " (" + Shown(child.detail, options) + ")";
    else
      boxes.push_back(&child);
  }
  // Graphviz breaks lines at "\l", left-justified.
  std::string text = "\"";
  for (const char c : label) {
    if (c == '\n')
      text += "\\l";
    else if (c == '"' || c == '\\')
      text += std::string("\\") + c;
    else if (static_cast<unsigned char>(c) >= 0x20)
      text += c;
  }
  text += "\\l\"";
  fmt::print("  n{} [label={}];\n", id, text);
  if (parent >= 0) fmt::print("  n{} -> n{};\n", parent, id);
  for (const Node *const child : boxes) PrintDot(*child, id, next, options);
}

int Print(const Node &root, bool dot, const Options &options) {
  int next = 0;
  if (dot) {
    fmt::print(
        "digraph board {{\n  rankdir=LR;\n  node [shape=box, fontname=\"sans-serif\", "
        "fontsize=10];\n");
    PrintDot(root, -1, next, options);
    fmt::print("}}\n");
  } else if (options.json) {
    PrintJsonLines(root, -1, next);
  } else {
    PrintText(root, 0, options);
  }
  return kYes;
}

/// A document of another kind has none of the fields.
int Nothing(const std::string &path, const char *what, const Options &options) {
  Complain(options, fmt::format("{}: {} in it", path, what));
  return kNo;
}

}  // namespace

void AddTopoCommands(CLI::App &app, Options &options) {
  const auto add = [&](const char *name, const char *help, auto show) {
    CLI::App *const command = app.add_subcommand(name, help);
    command->require_subcommand(1);
    CLI::App *const verb = command->add_subcommand("show", "As an indented tree");
    auto path = std::make_shared<std::string>();
    auto dot = std::make_shared<bool>(false);
    verb->add_option("DOC", *path, "The document, or -")->required();
    verb->add_flag("--dot", *dot,
                   "As a drawing for Graphviz: cuctl topo show --dot board.json | dot -Tsvg");
    verb->callback([=, &options] { options.exit_code = show(*path, *dot); });
  };
  add("topo", "Board topologies", [&options](const std::string &path, bool dot) {
    const Document document = ReadDocument(path);
    MustBeLoaded(document);
    rfAEBoardTopology board = {};
    RunCallback(document, ReadTopology, &board);
    const Node root = TopologyNode(board);
    const bool any = board.TopologyName != nullptr || board.AEBus.count != 0;
    Release(board);
    if (!any) return Nothing(path, "no board topology", options);
    return Print(root, dot, options);
  });
  add("filedict", "File dictionaries", [&options](const std::string &path, bool dot) {
    const Document document = ReadDocument(path);
    MustBeLoaded(document);
    rfAEFileDictionary dictionary = {};
    RunCallback(document, ParserJSONFileDictionaryMethod, &dictionary);
    const Node root = DictionaryNode(dictionary);
    const bool any = dictionary.version != nullptr || dictionary.filelist.count != 0;
    free_rfAEFileDictionary(&dictionary);
    if (!any) return Nothing(path, "no file dictionary", options);
    return Print(root, dot, options);
  });
}

}  // namespace cuctl
