// The one main state record and its sub-records.
//
// The configuration readers fill it on the main thread before any other thread exists; from then on all of it
// is read-only, except DataCollectorDBData, DataCollectorDBUpdate, i32_ParsedReqId and i32_AlarmFlag, which
// belong to the MQTT network thread (record numbers: to the main thread until a kind's recovery is over, see
// Flags.h), and HTTPSenderRecordInformation, which belongs to the forwarding thread. The not-available
// records of the main thread use DataCollectorDBData too: whoever issues data requests has to put them in
// order with ingestion (NotAvailableRecords.h).
//
// Everything in it is plain data: the record is allocated once and zeroed with one call.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "ground/FixedText.h"
#include "ground/KindShape.h"

namespace datacollector {

// A table as the sources configuration dimensions it; the configuration fills column 0 only.
template <std::size_t Rows, std::size_t Columns>
using SourcesTable = std::array<std::array<std::int32_t, Columns>, Rows>;

// Which sources exist, which are enabled, and how often they are forwarded. Intervals are in seconds.
struct DataCollectorSourcesConfig {
  std::int32_t i32_No_Of_Sources;
  std::int32_t i32_No_Of_RS485Sources;
  std::int32_t i32_No_Of_RS232Sources;
  std::int32_t i32_No_Of_SNMPSources;
  std::int32_t DataBases;
  std::int32_t i32_EnableLanMqtt;
  std::array<std::int32_t, 100> i32_NoOfEMetersInLine;
  std::array<std::int32_t, 1> i32_NoOfRS232EMetersInLine;
  std::array<std::int32_t, 1> i32_NoOfSNMPDevicesInLine;
  std::array<std::int32_t, 110> MeterID;
  SourcesTable<20, 10> i32_DataSourcesEnableFlags;
  SourcesTable<20, 50> i32_DataSourcesPublishInterval;
  SourcesTable<10, 10> i32_DataSourcesRS485EnableFlags;
  SourcesTable<10, 50> i32_DataSourcesRS485PublishInterval;
  SourcesTable<1, 10> i32_DataSourcesRS232EnableFlags;
  SourcesTable<1, 50> i32_DataSourcesRS232PublishInterval;
  SourcesTable<1, 10> i32_DataSourcesSNMPEnableFlags;
  SourcesTable<1, 50> i32_DataSourcesSNMPPublishInterval;
};

inline constexpr std::size_t kTopicSlots = 20;

struct DataCollectorMqttTopics {
  std::uint16_t ui16_NoOfSubscribeTopics;
  std::uint16_t ui16_NoOfHTTPPublishTopics;
  std::array<FixedText<100>, kTopicSlots> i8_SubscribeTopics;
  std::array<FixedText<200>, kTopicSlots> i8_HTTPSendPublishTopics;
  FixedText<400> i8_AppDataReqPublishTopic;
  FixedText<200> i8_AppDataMultiReqPublishTopic;
  FixedText<200> i8_AppDataMultiReqPublishTopicRS232;
  FixedText<200> i8_AppDataMultiReqPublishTopicSNMP;
  std::uint16_t ui16_KeepSession;  // 1: the broker keeps what sources publish while the daemon is down
};

// Identity and marks. The texts are heap copies that live as long as the process; nullptr when not
// configured.
struct DataCollectorSiteConfig {
  const char* SiteID;
  const char* DeviceID;
  std::int32_t SiteIDEnable;
  std::int32_t DeviceIDEnable;
  const char* FailureDataCharacter;
  const char* OverallRecordstartmark;
  const char* OverallRecordendmark;
  std::int32_t Maxnumberofregister;
};

// The copies that record packing uses: each as long as one field of a record text can be.
struct PackingIdentity {
  std::int32_t gi32_SiteIDEnable;
  std::int32_t gi32_DeviceIDEnable;
  FixedText<511> gi8_SiteID;
  FixedText<511> gi8_DeviceID;
  FixedText<511> gi8_OverallRecordStartMark;
  FixedText<511> gi8_OverallRecordEndMark;
};

inline constexpr std::size_t kMaxColumns = 200;

// One kind's table: where it is, what it holds, and how its database is retried.
struct DatabaseConfig {
  FixedText<500> i8_DatabaseName;  // full path of the database file
  FixedText<100> i8_TableName;
  FixedText<500> i8_RecordNumber;  // name of the record-number column
  std::array<FixedText<500>, kMaxColumns> i8_ColumnNames;
  std::uint16_t ui16_MAXRecords;  // row limit of the table
  std::uint16_t ui16_NoOfColumns;
  std::int32_t i32_DatabaseAccessWaitInterval;  // seconds or milliseconds: each operation's table says which
  std::uint16_t ui16_MaxDatabaseAccessRetry;
};

using DataCollectorDBConfig = std::array<DatabaseConfig, kSourceKinds>;

// What was last handed to the HTTP Send App.
struct HTTPSenderRecordInformation {
  std::int32_t i32_LastRecordSentStatus;
  std::int32_t i32_RecordNumber;
  std::int32_t i32_LastRecordSentNumber;
};

// One kind's columns by meaning. A member that the kind has no use for stays empty.
struct DatabaseParams {
  std::uint16_t ui16_TxStatus;  // the "not sent" value of the transmission status column
  FixedText<500> i8_DatabaseName;
  FixedText<500> i8_TableName;
  FixedText<500> i8_StartMarkColumn;
  FixedText<500> i8_EndMarkColumn;
  FixedText<500> i8_RequestIdColumn;
  FixedText<500> i8_RecordType;  // AIO: a column; elsewhere the text that stands in the record type's place
  FixedText<500> i8_RecordReadTimeColumn;
  std::array<FixedText<500>, 6>
      i8_ValueColumns;  // AIO: one, which may be a list; DIO: six; TEMPERATURE: three

  // Meters and SNMP devices.
  FixedText<500> i8_InterfaceId;
  FixedText<500> i8_MeterID;
  FixedText<500> i8_MeterIndexColumn;
  FixedText<500> i8_MeterModel;
  FixedText<500> i8_MeterType;
  FixedText<500> i8_SlaveID;
  FixedText<500> i8_CommIP;
  FixedText<500> i8_PortNumber;
  FixedText<500> i8_ResponseCodeColumn;
  FixedText<500> i8_StartingRegisterAddress;
  FixedText<500> i8_FunctionCodeUsed;
  FixedText<500> i8_NoOfRegisters;
  std::array<FixedText<50>, 3> i8_EMeterREG;
  FixedText<500> i8_SNMPStartMark;
  FixedText<500> i8_SNMPData;
  FixedText<500> i8_SNMPEndMark;

  FixedText<500> i8_RecordIDColumn;
  FixedText<500> i8_TxStatusColumn;
  FixedText<500> i8_TxStatusTimeColumn;
  FixedText<500> i8_RecordWriteTimeColumn;
  std::uint16_t ui16_MaxReadTry;
  std::uint16_t ui16_RecordNumberIndex;  // I/O kinds: one-based position of the record number in the packet
  std::uint16_t ui16_RecordTimeStampIndex;

  std::int16_t i16_RIDClmnIndex;  // meters and SNMP: zero-based position of the record number in the packet
  datacollector::HTTPSenderRecordInformation HTTPSenderRecordInformation;
};

using DataCollectorDBParams = std::array<DatabaseParams, kSourceKinds>;

// A received record, in the room of its I/O kind or of its meter.
using IoRecordText = FixedText<2999>;
using MeterRecordText = FixedText<1999>;

// A record text: the value list of an INSERT.
using RecordText = FixedText<4000>;

// The records being received and written.
struct DataCollectorDBData {
  // Number of the last record written to the kind's table. Unsigned 16 bits, so a ring has at most 65,535
  // rows.
  std::array<std::uint16_t, kSourceKinds> ui16_DBRecordNumber;
  std::array<RecordText, kSourceKinds> i8_DCDBRecord;
  std::array<IoRecordText, kIoKinds> i8_IoRecord;
  PerMeter<MeterRecordText, &KindShape::storedLines, kIoKinds> i8_MeterRecord;
  std::array<TimeStampText, kSourceKinds> i8_ReadTimeStamp;
};

// When the last record of a meter kind was written or published. The writers (MQTT network thread) and the
// readers (forwarding thread) each keep their own, so that neither tears the other's text.
struct PublishTimeStamps {
  std::array<TimeStampText, kSourceKinds> written;
  std::array<TimeStampText, kSourceKinds> published;
};

// A reported delivery: which row, and what to store in it.
struct DatabaseUpdate {
  TimeStampText i8_RecordReadTimeStamp;
  std::int32_t i32_RecordNum;
  std::int32_t i32_TxStatus;
  TimeStampText i8_TxTimeStamp;
};

using DataCollectorDBUpdate = std::array<DatabaseUpdate, kSourceKinds>;

struct DataCollectorMainStructure {
  // Starts with the source counts, the LAN switch and the meters per line, in this order.
  datacollector::DataCollectorSourcesConfig DataCollectorSourcesConfig;

  std::uint16_t ui16_MainWhileLoopSleepInterval;  // milliseconds
  std::uint16_t ui16_IntervalBetweenEachAppDataReq;
  std::uint16_t ui16_MaxAppDataReqId;
  std::uint16_t ui16_DCDBPublishRetryInterval;               // seconds
  std::uint16_t ui16_DCDBReadTimeStampInSecSinceEpoch;       // 1: read time stamps are Epoch seconds
  std::uint16_t ui16_CustomerDataBaseReadWriteUpdateEnable;  // not 0: nothing is sent or confirmed
  std::uint16_t ui16_MeterReadSleepInterval;                 // milliseconds
  std::uint16_t ui16_FastRoundPause;  // milliseconds, 10 to 999; 0: the forwarding rounds are not fast
  const char* SoftwareVer;
  const char* OruVer;
  std::uint16_t ui16_MaintenanceMode;

  datacollector::DataCollectorMqttTopics DataCollectorMqttTopics;
  datacollector::DataCollectorSiteConfig DataCollectorSiteConfig;
  datacollector::PackingIdentity PackingIdentity;
  datacollector::DataCollectorDBConfig DataCollectorDBConfig;
  datacollector::DataCollectorDBParams DataCollectorDBParams;
  datacollector::DataCollectorDBData DataCollectorDBData;
  datacollector::PublishTimeStamps PublishTimeStamps;
  datacollector::DataCollectorDBUpdate DataCollectorDBUpdate;

  std::array<std::int32_t, kIoKinds> i32_ParsedReqId;    // request id of the record being stored
  std::array<std::int32_t, kSourceKinds> i32_AlarmFlag;  // 1: the record being stored is an alarm
};

extern DataCollectorMainStructure gMainState;

// Zeroes a main state record.
void ZeroMainState(DataCollectorMainStructure& main);

// Whether a kind takes part: it or one of its configurable lines is enabled.
bool IsSourceEnabled(const DataCollectorSourcesConfig& sources, SourceKind kind);

// The same of the kind's first `count` sources.
bool IsSourceEnabled(const DataCollectorSourcesConfig& sources, SourceKind kind, std::size_t count);

// Whether a zero-based line of a meter kind is enabled; false for a line that the tables have no room for.
bool IsLineEnabled(const DataCollectorSourcesConfig& sources, SourceKind kind, std::size_t line);

// Meters (SNMP: devices) on a zero-based line; 0 for a line that the tables have no room for.
std::int32_t MetersInLine(const DataCollectorSourcesConfig& sources, SourceKind kind, std::size_t line);

// Publish interval of a kind in seconds; for a meter kind that of the zero-based line.
std::int32_t PublishInterval(const DataCollectorSourcesConfig& sources, SourceKind kind,
                             std::size_t line = 0);

// A configured text, or the empty one where none is configured.
inline const char* TextOrEmpty(const char* text) { return text == nullptr ? "" : text; }

}  // namespace datacollector
