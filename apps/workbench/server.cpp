#include "apps/workbench/server.h"

#include <httplib.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <mutex>
#include <random>
#include <thread>

#include "api/errors.h"
#include "api/log.h"
#include "apps/tamble/failure.h"
#include "apps/tamble/output.h"
#include "apps/tamble/session.h"
#include "apps/workbench/edits.h"
#include "apps/workbench/requestError.h"
#include "apps/workbench/sessionFolder.h"
#include "apps/workbench/views.h"
#include "apps/workbench/webUi.h"

namespace tamble::workbench {
namespace fs = std::filesystem;
namespace {

// Bodies are small JSON texts; a freehand ROI of many thousands of points
// still fits.
constexpr std::size_t maxBodyBytes = 1 << 20;
const char* const tokenCookie = "tamble_token";

std::string randomToken() {
  std::random_device source;
  std::string token;
  const char* digits = "0123456789abcdef";
  for (int i = 0; i < 32; ++i) token += digits[source() % 16];
  return token;
}

// Compares in a time that does not depend on where the texts differ.
bool sameToken(const std::string& given, const std::string& token) {
  if (given.size() != token.size()) return false;
  unsigned char differ = 0;
  for (std::size_t i = 0; i < token.size(); ++i)
    differ |= static_cast<unsigned char>(given[i] ^ token[i]);
  return differ == 0;
}

std::string cookieValue(const httplib::Request& req, const std::string& name) {
  const std::string cookies = req.get_header_value("Cookie");
  std::size_t at = 0;
  while (at < cookies.size()) {
    std::size_t end = cookies.find(';', at);
    if (end == std::string::npos) end = cookies.size();
    std::string pair = cookies.substr(at, end - at);
    pair.erase(0, pair.find_first_not_of(' '));
    if (pair.rfind(name + "=", 0) == 0) return pair.substr(name.size() + 1);
    at = end + 1;
  }
  return {};
}

void sendJson(httplib::Response& res, const json& body, int status = 200) {
  res.status = status;
  res.set_content(body.dump(), "application/json");
}

void sendError(httplib::Response& res, const std::string& text, int status) {
  sendJson(res, {{"error", text}}, status);
}

json bodyOf(const httplib::Request& req) {
  if (req.body.empty()) return json::object();
  json body = json::parse(req.body, nullptr, false);
  if (body.is_discarded() || !body.is_object())
    throw requestError("the request's body is not a JSON object");
  return body;
}

std::string describeFailure(const std::exception_ptr& failure) {
  try {
    std::rethrow_exception(failure);
  } catch (const zel::GenericError& e) {
    return cli::errorText(e);
  } catch (const std::exception& e) {
    return e.what();
  }
  return "unknown failure";
}

class workbench {
 public:
  workbench(cli::session& s, const serveOptions& options)
      : s(s), folder(options.folder), ui(folder, s.inputs), token(randomToken()) {
    setHostUi(&ui);
  }
  ~workbench() {
    ui.cancelAll();
    if (worker.joinable()) worker.join();
    setHostUi(nullptr);
  }

  void run(const serveOptions& options, const std::string& pageFolder);

 private:
  using handlerFn = void (workbench::*)(const httplib::Request&, httplib::Response&);

  void route(const char* method, const char* path, handlerFn fn, bool needsList);
  httplib::Server::HandlerResponse checkToken(const httplib::Request& req, httplib::Response& res);

  // The image named by the "image" word (an index), else the current one.
  zel::image& imageOf(const std::string& text);
  zel::image& imageOf(const httplib::Request& req) { return imageOf(req.get_param_value("image")); }
  zel::image& imageOf(const json& body);

  void page(const httplib::Request& req, httplib::Response& res);
  void state(const httplib::Request& req, httplib::Response& res);
  void images(const httplib::Request& req, httplib::Response& res);
  void menu(const httplib::Request& req, httplib::Response& res);
  void select(const httplib::Request& req, httplib::Response& res);
  void view(const httplib::Request& req, httplib::Response& res);
  void quickLook(const httplib::Request& req, httplib::Response& res);
  void pixels(const httplib::Request& req, httplib::Response& res);
  void markers(const httplib::Request& req, httplib::Response& res);
  void files(const httplib::Request& req, httplib::Response& res);
  void runCommand(const httplib::Request& req, httplib::Response& res);
  void answer(const httplib::Request& req, httplib::Response& res);
  void edit(const httplib::Request& req, httplib::Response& res);
  void undo(const httplib::Request& req, httplib::Response& res);
  void roi(const httplib::Request& req, httplib::Response& res);
  void marker(const httplib::Request& req, httplib::Response& res);
  void open(const httplib::Request& req, httplib::Response& res);
  void save(const httplib::Request& req, httplib::Response& res);
  void saveMaskLayer(const httplib::Request& req, httplib::Response& res);

  void finishCommand(const std::string& label, const std::exception_ptr& failure);
  void changed() { ++generation; }

  cli::session& s;
  sessionFolder folder;
  webUi ui;
  std::string token;
  httplib::Server http;
  std::string pageFile;

  // Held by every handler that reads or changes the list, and by the start
  // and end of a command; while one runs, those handlers answer "busy".
  std::mutex listLock;
  bool running = false;
  std::string runningLabel;
  long generation = 0;
  json lastResult = nullptr;
  std::thread worker;
};

httplib::Server::HandlerResponse workbench::checkToken(const httplib::Request& req,
                                                       httplib::Response& res) {
  std::string given = req.get_header_value("X-Tamble-Token");
  if (given.empty()) given = cookieValue(req, tokenCookie);
  if (given.empty()) given = req.get_param_value("token");
  if (sameToken(given, token)) return httplib::Server::HandlerResponse::Unhandled;
  sendError(res,
            "refused: this workbench answers only requests with its access token; open the "
            "address that 'tamble serve' printed",
            403);
  return httplib::Server::HandlerResponse::Handled;
}

void workbench::route(const char* method, const char* path, handlerFn fn, bool needsList) {
  auto handler = [this, fn, needsList](const httplib::Request& req, httplib::Response& res) {
    try {
      std::unique_lock<std::mutex> hold(listLock, std::defer_lock);
      if (needsList) {
        hold.lock();
        if (running)
          throw requestError("busy: '" + runningLabel + "' is running; wait until it ends", 409);
      }
      (this->*fn)(req, res);
    } catch (const requestError& e) {
      sendError(res, e.what(), e.status);
    } catch (const cli::stepError& e) {
      sendError(res, e.what(), 400);
    } catch (const json::exception& e) {
      sendError(res, std::string("malformed request: ") + e.what(), 400);
    } catch (...) {
      sendError(res, describeFailure(std::current_exception()), 422);
    }
  };
  if (std::string(method) == "GET")
    http.Get(path, handler);
  else
    http.Post(path, handler);
}

zel::image& workbench::imageOf(const std::string& text) {
  if (text.empty()) {
    if (zel::image* current = s.list.current()) return *current;
    throw requestError("there is no current image", 404);
  }
  const std::optional<double> index = zel::parseNumber(text);
  if (!index || *index != static_cast<int>(*index) || *index < 0 || *index >= s.list.size())
    throw requestError("no image " + text + " in the list", 404);
  return *s.list[static_cast<int>(*index)];
}

zel::image& workbench::imageOf(const json& body) {
  if (!body.contains("image")) return imageOf(std::string());
  if (!body["image"].is_number_integer()) throw requestError("\"image\" is an index of the list");
  return imageOf(std::to_string(body["image"].get<long>()));
}

// ---- the page and the state -------------------------------------------------

// The token in the address becomes a cookie, so that the page's own files and
// downloads carry it without showing it again.
void workbench::page(const httplib::Request&, httplib::Response& res) {
  std::ifstream file(pageFile, std::ios::binary);
  if (!file) throw requestError("the page's files are missing (" + pageFile + ")", 500);
  const std::string html{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  res.set_header("Set-Cookie", std::string(tokenCookie) + "=" + token +
                                   "; Path=/; HttpOnly; SameSite=Strict");
  res.set_header("Cache-Control", "no-store");
  res.set_header("Referrer-Policy", "no-referrer");
  res.set_content(html, "text/html; charset=utf-8");
}

void workbench::state(const httplib::Request& req, httplib::Response& res) {
  const std::optional<double> since = zel::parseNumber(req.get_param_value("since"));
  json out = ui.state(since ? static_cast<long>(*since) : 0);
  std::lock_guard<std::mutex> hold(listLock);
  out["busy"] = running;
  out["command"] = running ? json(runningLabel) : json(nullptr);
  out["generation"] = generation;
  out["result"] = lastResult;
  out["folder"] = folder.root().string();
  sendJson(res, out);
}

void workbench::images(const httplib::Request&, httplib::Response& res) {
  json out = imagesJson(s.list);
  out["generation"] = generation;
  sendJson(res, out);
}

void workbench::menu(const httplib::Request&, httplib::Response& res) {
  sendJson(res, {{"groups", menuJson(s.plugin().menu(), s.list)}, {"generation", generation}});
}

void workbench::select(const httplib::Request& req, httplib::Response& res) {
  const json body = bodyOf(req);
  zel::image& img = imageOf(body);
  s.list.select(img.fieldName());
  changed();
  sendJson(res, {{"current", s.list.currentIndex}});
}

// ---- looking at an image ------------------------------------------------------

void workbench::view(const httplib::Request& req, httplib::Response& res) {
  renderOptions options =
      renderOptionsOf(std::map<std::string, std::string>(req.params.begin(), req.params.end()));
  options.markers = false;  // the page draws them, with their ids
  options.colorbar = true;  // the page shows the bar beside the view
  const zel::image& img = imageOf(req);
  res.set_header("Cache-Control", "no-store");
  res.set_content(renderPngBytes(img, options), "image/png");
}

void workbench::quickLook(const httplib::Request& req, httplib::Response& res) {
  const renderOptions options =
      renderOptionsOf(std::map<std::string, std::string>(req.params.begin(), req.params.end()));
  const zel::image& img = imageOf(req);
  std::string name = img.hasField() ? img.fieldName() : "image";
  for (char& c : name)
    if (!std::isalnum(static_cast<unsigned char>(c)) && c != '_' && c != '-') c = '_';
  res.set_header("Content-Disposition", "attachment; filename=\"" + name + ".png\"");
  res.set_content(renderPngBytes(img, options), "image/png");
}

void workbench::pixels(const httplib::Request& req, httplib::Response& res) {
  const zel::image& img = imageOf(req);
  res.set_header("Cache-Control", "no-store");
  res.set_content(pixelBytes(img), "application/octet-stream");
}

void workbench::markers(const httplib::Request& req, httplib::Response& res) {
  sendJson(res, markersJson(imageOf(req).markers));
}

void workbench::files(const httplib::Request& req, httplib::Response& res) {
  std::vector<std::string> extensions;
  const std::string wanted = req.get_param_value("ext");
  for (std::size_t at = 0; at < wanted.size();) {
    std::size_t end = wanted.find(',', at);
    if (end == std::string::npos) end = wanted.size();
    if (end > at) extensions.push_back(wanted.substr(at, end - at));
    at = end + 1;
  }
  json out = json::array();
  for (const folderEntry& e : folder.list(req.get_param_value("dir"), extensions))
    out.push_back({{"name", e.name}, {"folder", e.folder}, {"size", e.size}});
  sendJson(res, {{"entries", out}});
}

// ---- commands ------------------------------------------------------------------

void workbench::runCommand(const httplib::Request& req, httplib::Response& res) {
  const json body = bodyOf(req);
  if (!body.contains("command") || !body["command"].is_string())
    throw requestError("give the command's name as \"command\"");
  const commandDescriptor& d = s.plugin().names().resolve(body["command"].get<std::string>());
  if (d.enabled.test && !d.enabled.test(s.list))
    throw requestError("'" + std::string(d.label) + "' is not available: " + d.enabled.name, 409);
  if (worker.joinable()) worker.join();  // the one before has ended: running was clear
  running = true;
  runningLabel = d.label;
  lastResult = nullptr;
  zel::get_log().level(4).write("workbench: run " + std::string(d.group) + "/" + d.label);
  worker = std::thread([this, &d] {
    std::exception_ptr failure;
    ui.resetProgress();
    try {
      d.handler(s.list);
    } catch (...) {
      failure = std::current_exception();
    }
    finishCommand(d.label, failure);
  });
  sendJson(res, {{"started", d.label}}, 202);
}

void workbench::finishCommand(const std::string& label, const std::exception_ptr& failure) {
  const std::string error = failure ? describeFailure(failure) : std::string();
  if (failure) {
    ui.notice("error: " + error, true);
    zel::get_log().level(1).write("workbench: " + label + ": " + error);
  }
  ui.resetProgress();
  std::lock_guard<std::mutex> hold(listLock);
  running = false;
  lastResult = {{"command", label}, {"ok", !failure}, {"error", error}};
  changed();
}

void workbench::answer(const httplib::Request& req, httplib::Response& res) {
  const json body = bodyOf(req);
  if (!body.contains("id") || !body["id"].is_number_integer()) throw requestError("give the \"id\" answered");
  ui.answer(body["id"].get<long>(), body);
  sendJson(res, {{"answered", body["id"]}});
}

void workbench::edit(const httplib::Request& req, httplib::Response& res) {
  const json body = bodyOf(req);
  if (!body.contains("id") || !body.contains("key") || !body["key"].is_string())
    throw requestError("give the dialog's \"id\", the field's \"key\" and its \"value\"");
  const json& value = body.contains("value") ? body["value"] : json("");
  const std::string text = value.is_string() ? value.get<std::string>() : value.dump();
  sendJson(res, ui.edit(body["id"].get<long>(), body["key"].get<std::string>(), text));
}

// ---- changes by hand ---------------------------------------------------------

void workbench::undo(const httplib::Request&, httplib::Response& res) {
  if (s.list.actions().empty()) throw requestError("nothing to undo", 409);
  s.list.undo();
  changed();
  sendJson(res, {{"undone", true}});
}

void workbench::roi(const httplib::Request& req, httplib::Response& res) {
  const json body = bodyOf(req);
  const long covered = editRoi(s.list, imageOf(body), body);
  changed();
  sendJson(res, {{"covered", covered}});
}

void workbench::marker(const httplib::Request& req, httplib::Response& res) {
  const json body = bodyOf(req);
  const int id = editMarker(s.list, imageOf(body), body);
  changed();
  sendJson(res, {{"id", id}});
}

void workbench::open(const httplib::Request& req, httplib::Response& res) {
  const json body = bodyOf(req);
  openImage(s, folder.resolve(body.value("path", std::string()), true));
  changed();
  sendJson(res, imagesJson(s.list));
}

void workbench::save(const httplib::Request& req, httplib::Response& res) {
  const json body = bodyOf(req);
  const fs::path path = folder.resolve(body.value("path", std::string()), false);
  saveImage(s, imageOf(body), path);
  sendJson(res, {{"saved", folder.relativeName(path)}});
}

void workbench::saveMaskLayer(const httplib::Request& req, httplib::Response& res) {
  const json body = bodyOf(req);
  const fs::path path = folder.resolve(body.value("path", std::string()), false);
  saveMask(s, imageOf(body), body.value("layer", std::string()), path);
  sendJson(res, {{"saved", folder.relativeName(path)}});
}

void workbench::run(const serveOptions& options, const std::string& pageFolder) {
  pageFile = (fs::path(pageFolder) / "index.html").string();
  http.set_payload_max_length(maxBodyBytes);
  http.set_pre_routing_handler(
      [this](const httplib::Request& req, httplib::Response& res) { return checkToken(req, res); });
  // Statuses httplib sets itself (too large, no such path) get a text too.
  http.set_error_handler(httplib::Server::HandlerWithResponse([](const httplib::Request&,
                                                                  httplib::Response& res) {
    if (!res.body.empty()) return httplib::Server::HandlerResponse::Unhandled;
    sendError(res,
              res.status == 413 ? "refused: the request is larger than " +
                                      std::to_string(maxBodyBytes) + " bytes"
                : res.status == 404 ? "no such resource"
                                    : "the request was not understood (" + std::to_string(res.status) + ")",
              res.status);
    return httplib::Server::HandlerResponse::Handled;
  }));
  if (!http.set_mount_point("/page", pageFolder))
    throw cli::stepError("the workbench's page is missing: no folder " + pageFolder);
  route("GET", "/", &workbench::page, false);
  route("GET", "/api/state", &workbench::state, false);
  route("GET", "/api/images", &workbench::images, true);
  route("GET", "/api/menu", &workbench::menu, true);
  route("GET", "/api/view", &workbench::view, true);
  route("GET", "/api/quicklook", &workbench::quickLook, true);
  route("GET", "/api/pixels", &workbench::pixels, true);
  route("GET", "/api/markers", &workbench::markers, true);
  route("GET", "/api/files", &workbench::files, false);
  route("POST", "/api/select", &workbench::select, true);
  route("POST", "/api/run", &workbench::runCommand, true);
  route("POST", "/api/answer", &workbench::answer, false);
  route("POST", "/api/edit", &workbench::edit, false);
  route("POST", "/api/undo", &workbench::undo, true);
  route("POST", "/api/roi", &workbench::roi, true);
  route("POST", "/api/marker", &workbench::marker, true);
  route("POST", "/api/open", &workbench::open, true);
  route("POST", "/api/save", &workbench::save, true);
  route("POST", "/api/save-mask", &workbench::saveMaskLayer, true);

  const int port = options.port == 0 ? http.bind_to_any_port(options.bind)
                                     : (http.bind_to_port(options.bind, options.port) ? options.port : -1);
  if (port < 0)
    throw cli::stepError("cannot listen on " + options.bind + ":" + std::to_string(options.port));
  s.plugin();  // loaded now, so that a broken plug-in stops the start
  std::printf("tamble serve: the workbench of %s\n  http://%s:%d/?token=%s\n",
              folder.root().string().c_str(), options.bind.c_str(), port, token.c_str());
  std::fflush(stdout);
  zel::get_log().level(4).write("workbench: serving " + folder.root().string());
  if (!http.listen_after_bind()) throw cli::stepError("the workbench's server stopped");
}

}  // namespace

std::string defaultPageFolder() {
  if (const char* fromEnv = std::getenv("TAMBLE_WORKBENCH_PAGE")) return fromEnv;
  std::error_code error;
  const fs::path program = fs::read_symlink("/proc/self/exe", error);
  if (!error) {
    const fs::path installed = program.parent_path().parent_path() / "share/tamble/workbench";
    if (fs::is_regular_file(installed / "index.html", error)) return installed.string();
  }
  return TAMBLE_WORKBENCH_SOURCE_PAGE;
}

void serve(cli::session& s, const serveOptions& options) {
  if (options.bind != "127.0.0.1" && options.bind != "localhost" && options.bind != "::1")
    std::fprintf(stderr,
                 "warning: the workbench listens on %s: anyone who can reach that interface and "
                 "learns the token can read and write the files of the folder\n",
                 options.bind.c_str());
  workbench bench(s, options);
  bench.run(options, options.pageFolder.empty() ? defaultPageFolder() : options.pageFolder);
}

}  // namespace tamble::workbench
