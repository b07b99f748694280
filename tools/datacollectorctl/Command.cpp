#include "Command.h"

#include <getopt.h>
#include <strings.h>
#include <sys/stat.h>

#include <cstdio>

#include "ground/KindShape.h"

namespace datacollector::ctl {

const Arguments::Given* Arguments::Find(const std::string& option) const {
  for (const Given& given : given_) {
    if (given.option == option) {
      return &given;
    }
  }
  return nullptr;
}

std::string Arguments::Value(const std::string& option, const std::string& otherwise) const {
  const Given* given = Find(option);
  return given == nullptr || given->value.empty() ? otherwise : given->value;
}

std::optional<Arguments> Parse(const Command& command, int argc, char** argv) {
  std::vector<option> known;
  for (const Option& row : command.options) {
    const int argument = row.argument == nullptr  ? no_argument
                         : row.argument[0] == '[' ? optional_argument
                                                  : required_argument;
    known.push_back({row.name, argument, nullptr, 0});
  }
  known.push_back({});
  Arguments arguments;
  int index = 0;
  for (int found = 0; (found = ::getopt_long(argc, argv, "", known.data(), &index)) != -1;) {
    if (found != 0) {
      std::fprintf(stderr, "see datacollectorctl %s --help\n", command.name);
      return std::nullopt;
    }
    arguments.given_.push_back(
        {command.options[static_cast<std::size_t>(index)].name, ::optarg == nullptr ? "" : ::optarg});
  }
  for (int rest = ::optind; rest < argc; ++rest) {
    arguments.rest_.emplace_back(argv[rest]);
  }
  return arguments;
}

std::optional<SourceKind> KindOf(const std::string& name) {
  for (const SourceKind kind : kAllKinds) {
    if (::strcasecmp(name.c_str(), kKindIndexWord[kind]) == 0) {
      return kind;
    }
  }
  std::fprintf(stderr, "no such kind: %s\n", name.c_str());
  return std::nullopt;
}

std::optional<std::array<bool, kSourceKinds>> KindsOf(const std::string& list) {
  std::array<bool, kSourceKinds> kinds{};
  kinds.fill(list.empty());
  for (std::size_t start = 0; start < list.size();) {
    const std::size_t end = std::min(list.find(',', start), list.size());
    const std::optional<SourceKind> kind = KindOf(list.substr(start, end - start));
    if (!kind) {
      return std::nullopt;
    }
    kinds[*kind] = true;
    start = end + 1;
  }
  return kinds;
}

std::optional<std::string> RootOf(const Arguments& arguments) {
  std::string root = arguments.Value("root");
  struct stat status {};
  if (!root.empty() && (::stat(root.c_str(), &status) != 0 || !S_ISDIR(status.st_mode))) {
    std::fprintf(stderr, "%s is no directory\n", root.c_str());
    return std::nullopt;
  }
  while (root.ends_with('/')) {
    root.pop_back();
  }
  return root;
}

}  // namespace datacollector::ctl
