#include "config/SiteConfig.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>
#include <span>
#include <string>

#include "config/ConfigFile.h"
#include "config/Setting.h"
#include "ground/FixedText.h"
#include "ground/Trace.h"

namespace datacollector {
namespace {

using Main = DataCollectorMainStructure;
using Topics = DataCollectorMqttTopics;
using Site = struct DataCollectorSiteConfig;
using Packing = struct PackingIdentity;

constexpr std::array<Setting<Main>, 7> kGenericKeys = {{
    NumberKey<&Main::ui16_MainWhileLoopSleepInterval>("MainWhileLoopSleepInterval"),
    NumberKey<&Main::ui16_IntervalBetweenEachAppDataReq>("IntervalBetweenEachAppDataReq"),
    NumberKey<&Main::ui16_MaxAppDataReqId>("MaxAppDataReqId"),
    NumberKey<&Main::ui16_DCDBPublishRetryInterval>("DCDBPublishRetryInterval"),
    NumberKey<&Main::ui16_DCDBReadTimeStampInSecSinceEpoch>("DCDBReadTimeStampInSecSinceEpoch"),
    NumberKey<&Main::ui16_CustomerDataBaseReadWriteUpdateEnable>(
        "CustomerDataBaseReadWriteUpdateEnable", "CUSTOMER_DB_READ_WR_UPD_EN = {key}, and Value = {value}\n"),
    NumberKey<&Main::ui16_MaintenanceMode>("MaintenanceMode",
                                           "Maintenance mode = {key}, and Value = {value}\n"),
}};

// What an operator may add. A file without it is read as ever, without a word about it.
constexpr const char* kRoundPauseKey = "ForwardingRoundPauseInMilliSec";
constexpr int kShortestRoundPause = 10;
constexpr int kUsualRoundPause = 1000;

void ReadRoundPause(const ConfigFile& file, Main& main) {
  const std::optional<int> value = file.Number(kRoundPauseKey);
  if (!value) {
    return;
  }
  const bool inRange = *value == 0 || (*value >= kShortestRoundPause && *value <= kUsualRoundPause);
  const int pause = inRange ? *value : kUsualRoundPause;
  PrintNumber(kUsualWording.number, kRoundPauseKey, file, pause);
  if (!inRange) {
    PrintError("%s is %d in %s file, neither 0 nor %d to %d: it counts as %d\n", kRoundPauseKey, *value,
               file.Path(), kShortestRoundPause, kUsualRoundPause, kUsualRoundPause);
  }
  main.ui16_FastRoundPause = static_cast<std::uint16_t>(pause == kUsualRoundPause ? 0 : pause);
}

// A request topic has the room of its field, except that the first one is never longer than the others.
constexpr std::size_t kRequestTopicLimit = 200;

StoredText StoreRequestTopic(Topics& topics, const char* text) {
  return StoreBounded<kRequestTopicLimit>(topics.i8_AppDataReqPublishTopic, text);
}

constexpr std::array<Setting<Topics>, 4> kRequestTopics = {{
    {"AppDataReqPublishTopic", nullptr, StoreRequestTopic},
    TextKey<&Topics::i8_AppDataMultiReqPublishTopic>("AppDataMultiReqPublishTopic"),
    TextKey<&Topics::i8_AppDataMultiReqPublishTopicRS232>("AppDataMultiReqPublishTopicRS232"),
    TextKey<&Topics::i8_AppDataMultiReqPublishTopicSNMP>("AppDataMultiReqPublishTopicSNMP"),
}};

// A numbered list of topics: the key that counts them, the keys' common part and the slots.
template <std::size_t Length>
struct TopicList {
  Setting<Topics> countKey;
  std::uint16_t Topics::*count;
  const char* keyFormat;
  const char* echo;
  std::array<FixedText<Length>, kTopicSlots> Topics::*slots;
};

constexpr TopicList<100> kSubscribeTopics = {
    Required(NumberKey<&Topics::ui16_NoOfSubscribeTopics>("NoOfSubscribeTopics")),
    &Topics::ui16_NoOfSubscribeTopics,
    "SubscribeTopic%zu",
    "{index} : value at setting in {key} in {file} file={value}\n",
    &Topics::i8_SubscribeTopics,
};
constexpr TopicList<200> kHttpPublishTopics = {
    Required(NumberKey<&Topics::ui16_NoOfHTTPPublishTopics>(
        "NoOfHTTPPublishTopics", "NoOfHTTpPublishTopics = {key}, and Value = {value}\n")),
    &Topics::ui16_NoOfHTTPPublishTopics,
    "HTTPSendPublishTopic%zu",
    kUsualWording.text,
    &Topics::i8_HTTPSendPublishTopics,
};

// Reads the count and as many topics as there are slots for; false when the count is missing.
template <std::size_t Length>
bool ReadTopicList(const ConfigFile& file, const TopicList<Length>& list, Topics& topics) {
  if (!ReadSetting(file, list.countKey, topics)) {
    return false;
  }
  const std::size_t count = topics.*list.count;
  for (std::size_t index = 0; index < std::min(count, kTopicSlots); ++index) {
    FixedText<99> key{};
    key.Format(list.keyFormat, index + 1);
    if (const char* text = file.Text(key.c_str())) {
      const StoredText stored = StoreBounded<Length>((topics.*list.slots)[index], text);
      PrintStoredText(list.echo, key.c_str(), file, stored, std::to_string(index));
    } else {
      PrintEcho(kMissingKey, {key.view(), file.Path()});
    }
  }
  if (count > kTopicSlots) {
    PrintError("%s is %zu in %s file, only %zu topics are read\n", list.countKey.key, count, file.Path(),
               kTopicSlots);
  }
  return true;
}

// Gateways that leave the key out find no word of it on their trace.
void ReadKeepSession(const ConfigFile& file, Topics& topics) {
  constexpr const char* kKey = "KeepSession";
  const std::optional<int> value = file.Number(kKey);
  if (!value) {
    return;
  }
  topics.ui16_KeepSession = *value == 1 ? 1 : 0;
  PrintNumber(kUsualWording.number, kKey, file, topics.ui16_KeepSession);
  if (*value != topics.ui16_KeepSession) {
    PrintError("%s is %d in %s file, only 0 and 1 are known: 0 is used\n", kKey, *value, file.Path());
  }
}

// Keeps a text in the site record and, cut to a record field, where packing takes it from.
template <const char* Site::*Kept, FixedText<511> Packing::*Copy>
StoredText StoreIdentity(Main& main, const char* text) {
  const char* kept = ::strdup(text);
  main.DataCollectorSiteConfig.*Kept = kept;
  return {TextOrEmpty(kept), StoreBounded<511>(main.PackingIdentity.*Copy, text).limit};
}

template <auto Kept>
StoredText StoreHeapCopy(RecordOf<Kept>& record, const char* text) {
  record.*Kept = ::strdup(text);
  return {TextOrEmpty(record.*Kept), 0};
}

StoredText StoreFailureCharacter(Main& main, const char* text) {
  return StoreHeapCopy<&Site::FailureDataCharacter>(main.DataCollectorSiteConfig, text);
}

// The two switches, each for the site record and for packing.
template <std::int32_t Site::*Switch, std::int32_t Packing::*Copy>
std::int32_t StoreSwitch(Main& main, int value) {
  main.DataCollectorSiteConfig.*Switch = value;
  main.PackingIdentity.*Copy = value;
  return value;
}

std::int32_t StoreMaxRegisters(Main& main, int value) {
  return main.DataCollectorSiteConfig.Maxnumberofregister = value;
}

// The start mark is echoed under the end mark's key: the trace shows that key twice.
constexpr std::array<Setting<Main>, 8> kSiteKeys = {{
    Required(Setting<Main>{"SiteIDEnable", StoreSwitch<&Site::SiteIDEnable, &Packing::gi32_SiteIDEnable>,
                           nullptr, "SiteID = {key}, and Value = {value}\nSiteIDEnable : {value}\n"}),
    Required(Setting<Main>{"DeviceIDEnable",
                           StoreSwitch<&Site::DeviceIDEnable, &Packing::gi32_DeviceIDEnable>, nullptr,
                           "DeviceIDEnable = {key}, and Value = {value}\nDeviceIDEnable : {value}\n"}),
    {"SiteID", nullptr, StoreIdentity<&Site::SiteID, &Packing::gi8_SiteID>, "SiteID : {value}\n"},
    {"DeviceID", nullptr, StoreIdentity<&Site::DeviceID, &Packing::gi8_DeviceID>, "DeviceID : {value}\n"},
    {"FailureDataCharacter", nullptr, StoreFailureCharacter},
    {"OverallRecordstartmark", nullptr,
     StoreIdentity<&Site::OverallRecordstartmark, &Packing::gi8_OverallRecordStartMark>,
     "value at setting OverallRecordendmark in {file} file is = {value}\n"},
    {"OverallRecordendmark", nullptr,
     StoreIdentity<&Site::OverallRecordendmark, &Packing::gi8_OverallRecordEndMark>},
    {"MaxNumberofRegisters", StoreMaxRegisters, nullptr,
     "psDataCollectorMainStructure->DataCollectorSiteConfig.Maxnumberofregister = {value}\n",
     "Fail to read parameter '{key}'\n"},
}};

constexpr std::array<Setting<Main>, 2> kVersionKeys = {{
    {"SoftwareVer", nullptr, StoreHeapCopy<&Main::SoftwareVer>},
    {"OruVer", nullptr, StoreHeapCopy<&Main::OruVer>},
}};

// Reads rows of the main state from a file.
int ReadMainSettings(const ConfigFile& file, std::span<const Setting<Main>> settings, Main& main) {
  return file.CheckRead() && ReadSettings(file, settings, main) ? 0 : -1;
}

}  // namespace

int ReadGenericConfig(DataCollectorMainStructure& main, const char* path) {
  const FunctionTrace trace(__func__);
  const ConfigFile file(path);
  if (ReadMainSettings(file, kGenericKeys, main) != 0) {
    return -1;
  }
  ReadRoundPause(file, main);
  return 0;
}

int ReadTopicsConfig(DataCollectorMainStructure& main, const char* path) {
  const FunctionTrace trace(__func__);
  Topics& topics = main.DataCollectorMqttTopics;
  const ConfigFile file(path);
  if (!file.CheckRead() || !ReadTopicList(file, kSubscribeTopics, topics)) {
    return -1;
  }
  ReadSettings(file, kRequestTopics, topics);
  ReadKeepSession(file, topics);
  return ReadTopicList(file, kHttpPublishTopics, topics) ? 0 : -1;
}

int ReadSiteIDCfg(DataCollectorMainStructure& main, const char* path) {
  FunctionTrace trace(__func__);
  const ConfigFile file(path);
  if (!file.IsRead()) {
    trace.SkipEnd();
  }
  return ReadMainSettings(file, kSiteKeys, main);
}

int ReadSoftwareVersionCfg(DataCollectorMainStructure& main, const char* path) {
  const FunctionTrace trace(__func__);
  const ConfigFile file(path);
  return ReadMainSettings(file, kVersionKeys, main);
}

}  // namespace datacollector
