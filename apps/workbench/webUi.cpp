#include "apps/workbench/webUi.h"

#include <filesystem>

#include "api/log.h"
#include "api/numbers.h"
#include "apps/tamble/session.h"
#include "apps/workbench/requestError.h"
#include "host/paramRecord.h"

namespace tamble::workbench {
namespace {

// Notices kept for a page that polls late; older ones are dropped.
constexpr std::size_t noticesKept = 500;

json fieldJson(const paramRecord& record, std::size_t i) {
  const paramInfo& f = record.fields()[i];
  json out = {{"key", f.key},         {"type", paramTypeName(f.type)},
              {"caption", f.caption}, {"group", f.group},
              {"shownOnly", f.shownOnly},
              {"value", paramNumberText(f, record.value(i))},
              {"enabled", record.fieldEnabled(i)}};
  if (f.range) out["range"] = {paramNumberText(f, f.range->first), paramNumberText(f, f.range->second)};
  for (const radioChoice& c : f.choices) out["choices"].push_back({{"value", c.value}, {"label", c.label}});
  return out;
}

std::string textOf(const json& value) {
  if (value.is_string()) return value.get<std::string>();
  if (value.is_number()) return value.dump();
  throw requestError("a field's value must be a number or text");
}

}  // namespace

json recordJson(const paramRecord& record) {
  json out = {{"title", record.title()}, {"section", record.section()}, {"fields", json::array()}};
  bool report = !record.fields().empty();
  for (std::size_t i = 0; i < record.fields().size(); ++i) {
    out["fields"].push_back(fieldJson(record, i));
    report = report && record.fields()[i].shownOnly;
  }
  out["report"] = report;
  return out;
}

// ---- the worker's side ----------------------------------------------------

std::optional<json> webUi::ask(const std::string& kind, json payload, paramRecord* record,
                               bool save) {
  std::unique_lock<std::mutex> hold(lock);
  if (stopping) return std::nullopt;
  pending = pendingInteraction{++lastId, kind, std::move(payload), record, save, std::nullopt};
  answered.wait(hold, [this] { return stopping || pending->reply.has_value(); });
  std::optional<json> reply = pending->reply;
  pending.reset();
  return reply;
}

bool webUi::message(const std::string& text, bool ask_, bool error) {
  if (!ask_) {
    notice(text, error);
    return true;
  }
  const std::optional<json> reply = ask("question", {{"text", text}, {"error", error}});
  return reply && reply->value("yes", false);
}

void webUi::notice(const std::string& text, bool error) {
  std::lock_guard<std::mutex> hold(lock);
  notices.push_back({{"serial", ++lastNotice}, {"text", text}, {"error", error}});
  if (notices.size() > noticesKept) notices.pop_front();
}

// The plug-in has read the store into the record; the page's OK has passed
// the same check as the command line's words (see answer).
bool webUi::editRecord(paramRecord& record) {
  const std::optional<json> reply = ask("record", recordJson(record), &record);
  const bool ok = reply && reply->value("ok", false);
  if (ok) zel::get_log().level(4).write("workbench: parameters " + describeRecord(record));
  return ok;
}

int webUi::chooseImage(const std::string& title, const std::vector<std::string>& entries,
                       int current) {
  const std::optional<json> reply =
      ask("image", {{"title", title}, {"entries", entries}, {"current", current}});
  return reply ? reply->value("index", -1) : -1;
}

std::string webUi::chooseFile(const std::string& title, const std::string& filter, bool save,
                              const std::string& proposed) {
  const std::filesystem::path proposal(proposed);
  std::string start = folder.relativeName(proposal);
  if (start.empty() && proposed.find('*') == std::string::npos)
    start = proposal.filename().string();
  const std::optional<json> reply =
      ask("file", {{"title", title}, {"filter", filter}, {"extensions", filterExtensions(filter)},
                   {"save", save}, {"proposed", start}},
          nullptr, save);
  return reply ? reply->value("path", std::string()) : std::string();
}

std::vector<std::string> webUi::chooseFiles(const std::string& title, const std::string& filter) {
  const std::optional<json> reply = ask(
      "files", {{"title", title}, {"filter", filter}, {"extensions", filterExtensions(filter)}});
  if (!reply || !reply->contains("paths")) return {};
  return (*reply)["paths"].get<std::vector<std::string>>();
}

void webUi::progress(const std::string& what, int percent) {
  std::lock_guard<std::mutex> hold(lock);
  progressWhat = what;
  progressPercent = percent;
}

void webUi::waitCursor(bool on) {
  std::lock_guard<std::mutex> hold(lock);
  waiting = on;
}

void webUi::resetProgress() {
  std::lock_guard<std::mutex> hold(lock);
  progressWhat.clear();
  progressPercent = -1;
  waiting = false;
}

// ---- the page's side ------------------------------------------------------

json webUi::state(long since) {
  std::lock_guard<std::mutex> hold(lock);
  json out = {{"notices", json::array()}, {"wait", waiting}, {"lastNotice", lastNotice}};
  for (const json& n : notices)
    if (n["serial"].get<long>() > since) out["notices"].push_back(n);
  if (progressPercent >= 0) out["progress"] = {{"what", progressWhat}, {"percent", progressPercent}};
  if (pending && !pending->reply)
    out["interaction"] = {{"id", pending->id}, {"kind", pending->kind}, {"payload", pending->payload}};
  else
    out["interaction"] = nullptr;
  return out;
}

webUi::pendingInteraction& webUi::pendingWith(long id) {
  if (!pending || pending->reply || pending->id != id)
    throw requestError("no question or dialog " + std::to_string(id) + " is waiting for an answer",
                       409);
  return *pending;
}

std::string webUi::pathAnswer(const json& reply, bool save) {
  if (!reply.contains("path") || !reply["path"].is_string())
    throw requestError("give the file as \"path\", relative to the session's folder");
  const std::string path = folder.resolve(reply["path"].get<std::string>(), !save).string();
  if (save)
    inputs.checkWritable(path);
  else
    inputs.add(path);
  return path;
}

void webUi::answer(long id, const json& reply) {
  std::lock_guard<std::mutex> hold(lock);
  pendingInteraction& p = pendingWith(id);
  const bool cancel = reply.value("cancel", false);
  json given = json::object();
  if (cancel) {
    given = {{"ok", false}, {"index", -1}, {"yes", false}};
  } else if (p.kind == "question") {
    if (!reply.contains("yes") || !reply["yes"].is_boolean()) throw requestError("answer \"yes\": true or false");
    given["yes"] = reply["yes"];
  } else if (p.kind == "record") {
    if (reply.contains("values") && !reply["values"].is_object())
      throw requestError("\"values\" must map keys to values");
    const json values = reply.value("values", json::object());
    for (const auto& [key, value] : values.items())
      if (auto complaint = assignParam(*p.record, key, textOf(value))) throw requestError(*complaint, 422);
    if (auto complaint = checkRecord(*p.record)) throw requestError(*complaint, 422);
    given["ok"] = true;
  } else if (p.kind == "image") {
    const int index = reply.value("index", -2);
    if (index < 0 || index >= static_cast<int>(p.payload["entries"].size()))
      throw requestError("\"index\" must name one of the images offered");
    given["index"] = index;
  } else if (p.kind == "file") {
    given["path"] = pathAnswer(reply, p.save);
  } else if (p.kind == "files") {
    if (!reply.contains("paths") || !reply["paths"].is_array() || reply["paths"].empty())
      throw requestError("give the files as \"paths\", relative to the session's folder");
    for (const json& path : reply["paths"]) given["paths"].push_back(pathAnswer({{"path", path}}, false));
  }
  p.reply = std::move(given);
  answered.notify_all();
}

json webUi::edit(long id, const std::string& key, const std::string& text) {
  std::lock_guard<std::mutex> hold(lock);
  pendingInteraction& p = pendingWith(id);
  if (p.kind != "record") throw requestError("interaction " + std::to_string(id) + " is no dialog");
  if (auto complaint = assignParam(*p.record, key, text)) throw requestError(*complaint, 422);
  const std::vector<paramInfo>& fields = p.record->fields();
  for (std::size_t i = 0; i < fields.size(); ++i)
    if (fields[i].key == key) p.record->edited(i);
  p.payload = recordJson(*p.record);
  return p.payload;
}

void webUi::cancelAll() {
  std::lock_guard<std::mutex> hold(lock);
  stopping = true;
  answered.notify_all();
}

}  // namespace tamble::workbench
