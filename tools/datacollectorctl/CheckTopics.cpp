// Topics: what decides their meaning is their number, so a text in the wrong place or a letter off is silent.

#include <algorithm>
#include <map>

#include "Checks.h"
#include "ground/KindShape.h"
#include "mqtt/inbound/InboundMessage.h"

namespace datacollector::ctl {
namespace {

constexpr std::size_t kOddLetters = 2;

// A topic that an enabled kind needs. `index` is the place in its list.
struct NeededTopic {
  SourceKind kind;
  const char* group;  // topics of a group are built alike
  std::size_t index;
};
constexpr std::array<NeededTopic, 12> kSubscribed = {{
    {AIO, "record", kAioRecord},
    {DIO, "record", kDioRecord},
    {TEMPERATURE, "record", kTemperatureRecord},
    {RS485, "record", kRs485Record},
    {RS232, "record", kRs232Record},
    {SNMP, "record", kSnmpRecord},
    {AIO, "confirmation", kAioConfirmation},
    {DIO, "confirmation", kDioConfirmation},
    {TEMPERATURE, "confirmation", kTemperatureConfirmation},
    {RS485, "confirmation", kRs485Confirmation},
    {RS232, "confirmation", kRs232Confirmation},
    {SNMP, "confirmation", kSnmpConfirmation},
}};
constexpr std::array<NeededTopic, kSourceKinds> kPublished = {{{AIO, "packet", 0},
                                                               {DIO, "packet", 1},
                                                               {TEMPERATURE, "packet", 2},
                                                               {RS485, "packet", 3},
                                                               {RS232, "packet", 4},
                                                               {SNMP, "packet", 6}}};

struct FoundTopic {
  const NeededTopic* needed;
  std::string key;
  std::string text;
};

std::string LastLevel(const std::string& topic) { return topic.substr(topic.find_last_of('/') + 1); }
std::string FirstLevel(const std::string& topic) { return topic.substr(0, topic.find('/')); }

// Of a group's topics, the text that most of them have in a level; a text that is nearly that one is odd.
void CheckLevel(const std::string& path, const std::vector<FoundTopic>& group,
                std::string (*level)(const std::string&), Findings& findings) {
  std::map<std::string, std::size_t> counts;
  for (const FoundTopic& topic : group) {
    ++counts[level(topic.text)];
  }
  for (const FoundTopic& topic : group) {
    const std::string own = level(topic.text);
    for (const auto& [other, count] : counts) {
      if (count > counts[own] && other != own && Distance(other, own) <= kOddLetters) {
        std::string text = topic.key;
        text.append(" has '").append(own).append("' where others have '").append(other).append("'");
        findings.Add(Code::TopicOdd, path, text);
      }
    }
  }
}

}  // namespace

void CheckTopics(const CheckInput& input, Findings& findings) {
  const SurveyedFile& file = input.survey.files[kTopicsFile];
  const DataCollectorMqttTopics& topics = input.tree.main->DataCollectorMqttTopics;
  if (file.present.empty()) {
    return;
  }
  std::map<std::string, std::vector<FoundTopic>> groups;
  std::map<std::string, std::string> meanings;
  const auto look = [&](const NeededTopic& needed, const char* key, const std::string& text) {
    const FoundTopic found{&needed, key + std::to_string(needed.index + 1), text};
    if (!input.Looks(needed.kind)) {
      return;
    }
    if (text.empty()) {
      findings.Add(Code::TopicEmpty, file.path,
                   found.key + " is empty: " + kKindIndexWord[needed.kind] + " needs it");
      return;
    }
    if (text.find_first_of("+#") != std::string::npos) {
      findings.Add(Code::TopicWildcard, file.path, found.key + " holds + or #");
    }
    if (const auto [before, first] = meanings.emplace(text, found.key); !first) {
      findings.Add(Code::TopicTwice, file.path, found.key + " has the text of " + before->second);
    }
    groups[needed.group].push_back(found);
  };
  for (const NeededTopic& needed : kSubscribed) {
    look(needed, "SubscribeTopic", topics.i8_SubscribeTopics[needed.index].c_str());
  }
  for (const NeededTopic& needed : kPublished) {
    look(needed, "HTTPSendPublishTopic", topics.i8_HTTPSendPublishTopics[needed.index].c_str());
  }
  for (const auto& [name, group] : groups) {
    CheckLevel(file.path, group, FirstLevel, findings);
    CheckLevel(file.path, group, LastLevel, findings);
  }
}

}  // namespace datacollector::ctl
