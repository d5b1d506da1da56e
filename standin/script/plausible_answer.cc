// The answers of a stand-in without a script, one for each command that has more to
// say than its status.

#include <string>
#include <utility>

#include "script/answer.h"

namespace standin {
namespace {

std::vector<Chunk> StatsStream() {
  return {{.bytes = "TREL statistics\n"},
          {.bytes = "objects owned: 1024\n"},
          {.bytes = "components absent: 0\n"}};
}

std::vector<Chunk> CrawlerStream() {
  return {{.bytes = "6ba7b810-9dad-11d1-80b4-00c04fd430c8 idle\n"},
          {.bytes = "6ba7b811-9dad-11d1-80b4-00c04fd430c8 queued\n"}};
}

Json RebalanceInfo() { return {{"running", false}, {"bytesMoved", 0}, {"bytesToMove", 0}}; }

Json Resources() {
  return {{"feasible", true}, {"bytesNeeded", 1099511627776}, {"bytesFree", 8796093022208}};
}

Json ConfigText() { return {{"weightLatency", 1}, {"weightErrors", 10}}; }

Json DiskStats() {
  return {{"disks",
           {{{"uuid", "52e1d1fa-0000-4000-8000-000000000001"}, {"fitness", 100}},
            {{"uuid", "52e1d1fa-0000-4000-8000-000000000002"}, {"fitness", 97}}}}};
}

/// What the printed frame of `request` holds besides the UUID that was asked for.
Json Report(const Request& request) {
  switch (request.header.word) {
    case 3:
      return ConfigText();
    case 6:
      return DiskStats();
    case 9:
      return {{"operation", "REPAIR"}, {"result", "done"}};
    case 12:
    case 14:
    case 35:
      return RebalanceInfo();
    case 15:
    case 16:
      return Resources();
    case 17: {
      Json report = Resources();
      report["entities"] = request.fields.value("uuidCount", 0U);
      return report;
    }
    case 23:
      return {{"decomState", "NONE"}};
    case 26:
      return {{"crawler", "idle"}};
    default:
      return Json::object();
  }
}

std::string ReportText(const Request& request) {
  Json report = Json::object();
  if (request.fields.contains("uuid")) {
    report["uuid"] = request.fields.at("uuid");
  }
  report.update(Report(request));
  return report.dump(-1, ' ', false, Json::error_handler_t::replace);
}

}  // namespace

Answer PlausibleAnswer(const Request& request) {
  if (request.command == nullptr) {
    return FrameAnswer(0x0bad0001, "no such command");
  }
  switch (ReplyFormOf(request)) {
    case ReplyForm::STREAM:
      return {.kind = Answer::Kind::STREAM,
              .chunks = request.header.word == 1 ? StatsStream() : CrawlerStream()};
    case ReplyForm::TEXT_FRAME:
      return FrameAnswer(0, ReportText(request));
    case ReplyForm::EMPTY_FRAME:
      return FrameAnswer(0, "");
    case ReplyForm::NOTHING:
      break;
  }
  return {.kind = Answer::Kind::NOTHING};
}

}  // namespace standin
