// cuctl conf list|get|check|render DOC: configuration documents, as a daemon reads them.
#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <set>

#include "include/commonconfig.h"
#include "include/configparams.h"
#include "tools/cuctl/document.hpp"
#include "tools/cuctl/input.hpp"
#include "tools/cuctl/output.hpp"

namespace cuctl {
namespace {

constexpr std::string_view kTypeNames[] = {
    "string", "unsigned integer", "integer", "float", "long", "boolean",
    "uint8",  "uint16",           "uint64",  "blob"};

std::string TypeName(uint64_t type) {
  return type < std::size(kTypeNames) ? std::string(kTypeNames[type])
                                      : fmt::format("type {}", type);
}

/// A configuration, released at the end.
class Config {
 public:
  explicit Config(const Document &document) {
    MustBeLoaded(document);
    RunCallback(document, ProcessDecoderDefinitions, &config_);
  }
  ~Config() { aeFreeConfiguration(&config_); }
  Config(const Config &) = delete;
  Config &operator=(const Config &) = delete;
  rfAECommonConfig &operator*() { return config_; }
  rfAECommonConfig *operator->() { return &config_; }

 private:
  rfAECommonConfig config_{};
};

/// What the getter of a type makes of a parameter; none when the getter does not take it.
std::optional<std::string> ReadAs(const rfAECommonConfigConfigParam &param, std::string_view type) {
  const auto number = [&](auto getter, auto value) -> std::optional<std::string> {
    if (!getter(&param, &value)) return std::nullopt;
    return fmt::format("{}", value);
  };
  const auto text = [&] {
    return std::string(param.parameterValue == nullptr ? "" : param.parameterValue);
  };
  if (type == "string" || type == "blob") return text();
  if (type == "unsigned integer") return number(getAEParameterAsUnsignedInteger, uint32_t{});
  if (type == "integer") return number(getAEParameterAsInteger, int32_t{});
  if (type == "float") return number(getAEParameterAsFloat, float{});
  if (type == "long") return number(getAEParameterAsInteger64, int64_t{});
  if (type == "uint8") return number(getAEParameterAsUnsignedInteger8, uint8_t{});
  if (type == "uint16") return number(getAEParameterAsUnsignedInteger16, uint16_t{});
  if (type == "uint64") return number(getAEParameterAsUnsignedInteger64, uint64_t{});
  if (type == "boolean") {
    uint8_t value = 0;
    if (!getAEParameterAsBoolean(&param, &value)) return std::nullopt;
    return std::string(value != 0 ? "true" : "false");
  }
  throw Failure{kUsage, fmt::format("\"{}\" is not a type", type)};
}

void PrintParameter(std::string_view group, const rfAECommonConfigConfigParam &param,
                    std::string_view type, const std::string &value, const Options &options) {
  const char *const name = param.parameterName == nullptr ? "" : param.parameterName;
  if (options.json)
    PrintJson({{"group", std::string(group)},
               {"name", name},
               {"type", std::string(type)},
               {"value", value}});
  else
    fmt::print("{}.{} = {} ({})\n", Shown(group, options), Shown(name, options),
               Shown(value, options), type);
}

std::string_view GroupName(const rfAECommonConfigConfigObj &group) {
  return group.parameterGroup == nullptr ? "" : group.parameterGroup;
}

int List(const std::string &path, const Options &options) {
  const Document document = ReadDocument(path);
  Config config(document);
  const auto print = [&](const char *name, const char *type, const std::string &value) {
    if (options.json)
      PrintJson({{"group", nullptr}, {"name", name}, {"type", type}, {"value", value}});
    else
      fmt::print("{} = {}\n", name, Shown(value, options));
  };
  for (const auto &[name, value] :
       {std::pair("ipcName", config->ipcName), std::pair("logCtrlFile", config->logCtrlFile),
        std::pair("logfile", config->logfile)})
    if (value != nullptr) print(name, "string", value);
  print("logFileSize", "integer", fmt::format("{}", config->logFileSize));
  for (uint32_t i = 0; i < config->ConfigObj.count; ++i) {
    const rfAECommonConfigConfigObj &group = config->ConfigObj.list[i];
    for (uint32_t j = 0; j < group.ConfigParam.count; ++j) {
      const rfAECommonConfigConfigParam &param = group.ConfigParam.list[j];
      const std::string type = TypeName(param.type);
      PrintParameter(GroupName(group), param, type, ReadAs(param, type).value_or(""), options);
    }
  }
  return kYes;
}

int Get(const std::string &path, const std::string &group_name, const std::string &name,
        const std::string &as, const Options &options) {
  const Document document = ReadDocument(path);
  Config config(document);
  rfAECommonConfigConfigObj *group = nullptr;
  rfAECommonConfigConfigParam *param = nullptr;
  if (!getAEParameterGroup(&config->ConfigObj, group_name.c_str(), &group) ||
      !getAEParameterinArray(&group->ConfigParam, name.c_str(), &param)) {
    Complain(options, fmt::format("{}: no {}.{}", path, group_name, name));
    return kNo;
  }
  const std::string type = as.empty() ? TypeName(param->type) : as;
  const std::optional<std::string> value = ReadAs(*param, type);
  if (!value) {
    Complain(options, fmt::format("{}: {}.{} is {}: the getter for {} refuses it", path, group_name,
                                  name, TypeName(param->type), type));
    return kNo;
  }
  PrintParameter(group_name, *param, type, *value, options);
  return kYes;
}

int Render(const std::string &path, std::string text, const Options &options) {
  if (text == "-") {
    if (path == "-") throw Failure{kUsage, "standard input is either the document or the template"};
    const std::vector<uint8_t> bytes = ReadInput(text);
    text.assign(bytes.begin(), bytes.end());
  } else {
    text += '\n';
  }
  const Document document = ReadDocument(path);
  Config config(document);
  std::vector<rfAECommonConfigConfigParam> all;
  for (uint32_t i = 0; i < config->ConfigObj.count; ++i)
    for (uint32_t j = 0; j < config->ConfigObj.list[i].ConfigParam.count; ++j)
      all.push_back(config->ConfigObj.list[i].ConfigParam.list[j]);
  const rfAECommonConfigConfigParamArray params = {static_cast<uint32_t>(all.size()), all.data()};
  char *out = nullptr;
  if (!SubAmbrelCommonConfigParamListIntoTokenString(text.c_str(), &params, &out)) return kNo;
  if (options.json)
    PrintJson({{"text", out}});
  else
    WriteBytes(out, options);
  free(out);
  return kYes;
}

/// Looks at a document for what a daemon would read otherwise than it is meant.
class Checker {
 public:
  Checker(const Document &document, const Options &options)
      : document_(document), options_(options), children_(document.tokens) {}

  int Run() {
    size_t offset = 0;
    const std::string problem = StrictProblem(document_, &offset);
    const size_t nul = document_.text.find('\0');
    if (!problem.empty() && offset != nul)
      Warn(offset, fmt::format("{} (strict: error, library: {})", problem,
                               document_.loaded ? "accepted" : "refused"));
    if (nul != std::string::npos) Warn(nul, "a NUL byte: the library reads no further");
    if (!document_.loaded) return kDamaged;
    if (!document_.tokens.empty()) CheckObject(0, Where::kRoot);
    CheckValues();
    if (warnings_ == 0 && !options_.json) fmt::print("{}\n", In(Colour::kGreen, "ok"));
    return warnings_ == 0 ? kYes : kNo;
  }

 private:
  enum class Where { kRoot, kGroup, kParameter };

  void Warn(size_t offset, const std::string &text) {
    ++warnings_;
    if (options_.json)
      PrintJson({{"place", document_.Place(offset)}, {"warning", text}});
    else
      fmt::print("{}: {}: {}\n", Shown(document_.Place(offset), options_),
                 In(Colour::kYellow, "warning"), Shown(text, options_));
  }

  size_t Start(size_t token) const { return static_cast<size_t>(document_.tokens[token].start); }

  /// The children of a token, in order.
  std::vector<size_t> Children(size_t token) const {
    std::vector<size_t> found;
    for (size_t child = children_.First(token); child != 0; child = children_.Next(child))
      found.push_back(child);
    return found;
  }

  void CheckObject(size_t object, Where where) {
    static const std::map<Where, std::set<std::string_view>> kKeys = {
        {Where::kRoot, {"ipcName", "logCtrlFile", "logfile", "logFileSize", "ConfigObj"}},
        {Where::kGroup, {"parameterGroup", "ConfigParam"}},
        {Where::kParameter, {"parameterName", "parameterValue", "type"}}};
    if (document_.tokens[object].type != JSON_TOKEN_OBJECT) {
      Warn(Start(object), "an object is expected here");
      return;
    }
    std::set<std::string_view> seen;
    for (const size_t key : Children(object)) {
      const std::string_view name = document_.Text(document_.tokens[key]);
      const std::vector<size_t> values = Children(key);
      if (!seen.insert(name).second)
        Warn(Start(key), fmt::format("\"{}\" stands here twice: the last one counts", name));
      if (values.empty()) {
        Warn(Start(key), fmt::format("\"{}\" has no value", name));
        continue;
      }
      const jsmntok_t &value = document_.tokens[values.front()];
      const bool container = value.type == JSON_TOKEN_OBJECT || value.type == JSON_TOKEN_ARRAY;
      if (kKeys.at(where).count(name) == 0) {
        Warn(Start(key), container
                             ? fmt::format("unknown key \"{}\": its members are read as if they "
                                           "stood in the enclosing object",
                                           name)
                             : fmt::format("unknown key \"{}\"", name));
        continue;
      }
      if (where == Where::kRoot && name == "ConfigObj")
        CheckList(values.front(), Where::kGroup);
      else if (where == Where::kGroup && name == "ConfigParam")
        CheckList(values.front(), Where::kParameter);
      else if (container)
        Warn(Start(key), fmt::format("\"{}\" wants a text", name));
      else
        CheckScalar(key, name, value);
      if (where == Where::kParameter && name == "parameterValue")
        places_.back().back() = Start(values.front());
    }
  }

  void CheckList(size_t list, Where where) {
    if (document_.tokens[list].type != JSON_TOKEN_ARRAY) {
      Warn(Start(list), "an array is expected here");
      return;
    }
    const std::vector<size_t> elements = Children(list);
    if (where == Where::kParameter && elements.size() > 255)
      Warn(Start(list), fmt::format("{} parameters in one group; keep to 255", elements.size()));
    for (const size_t element : elements) {
      if (where == Where::kGroup) places_.emplace_back();
      if (where == Where::kParameter) places_.back().push_back(Start(element));
      CheckObject(element, where);
    }
  }

  void CheckScalar(size_t key, std::string_view name, const jsmntok_t &value) {
    const std::string_view text = document_.Text(value);
    if (text.empty() && name != "type") {
      Warn(Start(key), fmt::format("\"{}\" is empty: it is read as absent", name));
      return;
    }
    if (value.type == JSON_TOKEN_PRIMITIVE && text == "null")
      Warn(Start(key), fmt::format("\"{}\" is null: the text \"null\" is read", name));
    if (name != "type") return;
    for (const std::string_view known : kTypeNames)
      if (text == known) return;
    uint32_t type = 0;
    dataTypeToEnum(document_.text.c_str(), value.start, value.end, &type);
    Warn(Start(key), fmt::format("type \"{}\" reads as {}", text, TypeName(type)));
  }

  /// Where a parameter's value stands, or its object when it has none. A document of another shape
  /// than the usual one has no places: its start stands for them.
  size_t PlaceOf(const rfAECommonConfig &config, uint32_t group, uint32_t param) const {
    const bool usual = places_.size() == config.ConfigObj.count &&
                       places_[group].size() == config.ConfigObj.list[group].ConfigParam.count;
    return usual ? places_[group][param] : 0;
  }

  /// Values that the getter of their type cuts, wraps or misreads.
  void CheckValues() {
    Config config(document_);
    std::set<std::string_view> groups;
    for (uint32_t i = 0; i < config->ConfigObj.count; ++i) {
      const rfAECommonConfigConfigObj &group = config->ConfigObj.list[i];
      std::set<std::string> names;
      if (group.ConfigParam.count != 0 && !groups.insert(GroupName(group)).second)
        Warn(PlaceOf(*config, i, 0),
             fmt::format("group \"{}\" stands here twice: only the first is found",
                         GroupName(group)));
      for (uint32_t j = 0; j < group.ConfigParam.count; ++j) {
        const rfAECommonConfigConfigParam &param = group.ConfigParam.list[j];
        const std::string name = fmt::format(
            "{}.{}", GroupName(group), param.parameterName == nullptr ? "?" : param.parameterName);
        const size_t place = PlaceOf(*config, i, j);
        if (param.parameterName == nullptr)
          Warn(place, fmt::format("a parameter of group \"{}\" has no name", GroupName(group)));
        else if (!names.insert(param.parameterName).second)
          Warn(place, fmt::format("{} stands here twice: only the first is found", name));
        if (param.parameterValue == nullptr)
          Warn(place, fmt::format("{} has no value", name));
        else
          CheckValue(place, name, param);
      }
    }
  }

  void CheckValue(size_t place, const std::string &name, const rfAECommonConfigConfigParam &param) {
    const std::string type = TypeName(param.type);
    if (type == "string" || type == "blob") return;
    const char *const text = param.parameterValue;
    const std::string got = ReadAs(param, type).value_or("");
    if (type == "boolean") {
      if (strcasecmp(text, "true") != 0 && strcasecmp(text, "false") != 0)
        Warn(place, fmt::format("{} = \"{}\" reads as {}", name, text, got));
      return;
    }
    char *end = nullptr;
    errno = 0;
    if (type == "float") {
      std::strtof(text, &end);
      if (*end != '\0') Warn(place, fmt::format("{} = \"{}\" reads as {}", name, text, got));
      return;
    }
    const int base = getParameterBase(text);
    const bool is_unsigned = type != "integer" && type != "long";
    const unsigned long long magnitude = std::strtoull(text, &end, base);
    const bool negative = std::strchr(text, '-') != nullptr;
    const std::string exact = is_unsigned || !negative
                                  ? fmt::format("{}", magnitude)
                                  : fmt::format("{}", std::strtoll(text, &end, base));
    if (*end != '\0' || errno == ERANGE || (is_unsigned && negative) || exact != got)
      Warn(place, fmt::format("{} = \"{}\" reads as {} ({})", name, text, got, type));
  }

  const Document &document_;
  const Options &options_;
  TokenTree children_;
  std::vector<std::vector<size_t>> places_;  // of the parameters, a row for each group
  int warnings_ = 0;
};

}  // namespace

void AddConfCommands(CLI::App &app, Options &options) {
  CLI::App *const conf = app.add_subcommand("conf", "Configuration documents");
  conf->require_subcommand(1);
  struct Arguments {
    std::string path, group, name, as, text;
  };
  const auto add = [&](const char *name, const char *help) {
    CLI::App *const command = conf->add_subcommand(name, help);
    auto arguments = std::make_shared<Arguments>();
    command->add_option("DOC", arguments->path, "The document, or -")->required();
    return std::pair(command, arguments);
  };
  const auto [list, list_arguments] = add("list", "Every parameter, read by its type");
  list->callback([a = list_arguments, &options] { options.exit_code = List(a->path, options); });
  const auto [get, get_arguments] = add("get", "One parameter");
  get->add_option("GROUP", get_arguments->group, "Its group")->required();
  get->add_option("PARAM", get_arguments->name, "Its name")->required();
  get->add_option("--as", get_arguments->as, "Through the getter of this type");
  get->callback([a = get_arguments, &options] {
    options.exit_code = Get(a->path, a->group, a->name, a->as, options);
  });
  const auto [check, check_arguments] =
      add("check", "What a daemon would read otherwise than it is meant");
  check->callback([a = check_arguments, &options] {
    const Document document = ReadDocument(a->path);
    options.exit_code = Checker(document, options).Run();
  });
  const auto [render, render_arguments] = add("render", "Replace each <name> by that parameter");
  render->add_option("TEMPLATE", render_arguments->text, "Text with <name> in it, or -")
      ->required();
  render->callback(
      [a = render_arguments, &options] { options.exit_code = Render(a->path, a->text, options); });
}

}  // namespace cuctl
