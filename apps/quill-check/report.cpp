// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "quill-check/report.h"

#include <windows.h>

#include <algorithm>
#include <cctype>

#include "common/page/page.h"
#include "common/text.h"
#include "common/version.h"
#include "quill-check/check.h"

namespace quill_apps {

namespace {

using Json = nlohmann::ordered_json;

constexpr bool kAscii = true;

std::string Dump(const Json& json) {
  return json.dump(2, ' ', kAscii, nlohmann::json::error_handler_t::replace);
}

std::string Text(const Json& json) {
  return json.is_string() ? json.get<std::string>() : Dump(json);
}

// "2026-11-22T09:30:00Z"
std::string TimeNow() {
  SYSTEMTIME now;
  GetSystemTime(&now);
  return Format("%04d-%02d-%02dT%02d:%02d:%02dZ", now.wYear, now.wMonth, now.wDay, now.wHour,
                now.wMinute, now.wSecond);
}

const char* AnswerName(Answer answer) {
  switch (answer) {
    case Answer::kWorks:
      return "works";
    case Answer::kDoesNotWork:
      return "does-not-work";
    default:
      return "undecided";
  }
}

std::string Element(const char* name, const std::string& text) {
  return Format("<%s>", name) + EscapeHtml(text) + Format("</%s>", name);
}

std::string Badge(const std::string& verdict) {
  std::string name = verdict;
  std::ranges::transform(name, name.begin(),
                         [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return "<span class=\"verdict " + name + "\">" + verdict + "</span>";
}

std::string Fact(const char* name, const std::string& text) {
  return "    " + Element("dt", name) + Element("dd", text) + "\n";
}

std::string WindowsText(const Json& windows) {
  const std::string release = Text(windows["release"]);
  std::string text = Text(windows["product"]) + (release.empty() ? "" : " " + release) +
                     Format(", build %u.%u", windows["build"].get<unsigned>(),
                            windows["revision"].get<unsigned>());
  if (windows["wine"]) text += ", in fact Wine";
  text += Format(", universal contract %d", windows["universalContract"].get<int>());
  return text;
}

std::string Facts(const CheckReport& report) {
  std::string facts =
      Fact("Library", Text(report.library["file"]) + " " + Text(report.library["version"]) + ", " +
                          Dump(report.library["bytes"]) + " bytes, SHA-256 " +
                          Text(report.library["sha256"]));
  if (report.machine.contains("windows")) {
    const Json& windows = report.machine["windows"];
    facts += Fact("Windows", WindowsText(windows));
    facts += Fact("Session", Dump(windows["session"]) + (windows["remote"] ? ", remote" : ""));
  }
  if (report.machine.contains("notes")) {
    facts += Fact("Not described", Text(report.machine["notes"].front()["text"]));
  }
  facts += Fact("Made by", std::string("quill-check ") + Version() + ", " + TimeNow() +
                               Format(", in %.1f s", report.seconds));
  return facts;
}

std::string MonitorsText(const Json& monitors) {
  std::string text;
  for (const Json& monitor : monitors) {
    if (!text.empty()) text += "; ";
    text += Format("%ld x %ld, %u dpi, %u Hz", monitor["width"].get<long>(),
                   monitor["height"].get<long>(), monitor["dpi"].get<unsigned>(),
                   monitor["refreshHz"].get<unsigned>());
    if (monitor.value("hdr", false)) {
      text += Format(", HDR, white %.0f nits", monitor["sdrWhiteNits"].get<double>());
    }
  }
  return text.empty() ? "none" : text;
}

// chosen: the LUID of the adapter that the library's device is on, or empty.
std::string AdapterRows(const Json& machine, const std::string& chosen) {
  std::string rows;
  if (!machine.contains("adapters")) return rows;
  for (const Json& adapter : machine["adapters"]) {
    const bool has_device = adapter.contains("featureLevel");
    const bool detects = has_device && adapter["r8UintUav"] && adapter["r8UintUavLoad"];
    rows += "        <tr>" +
            Element("td", Text(adapter["name"]) +
                              (adapter["luid"] == chosen ? ", used by the library" : "")) +
            Element("td", Text(adapter["driver"])) +
            Element("td", Text(has_device ? adapter["featureLevel"] : adapter["error"])) +
            Element("td", detects ? "R8_UINT can be loaded" : "R8_UINT loads not reported") +
            Element("td", MonitorsText(adapter["monitors"])) + "</tr>\n";
  }
  return rows;
}

std::string Notes(const Json& result) {
  std::string html;
  const bool has_parts = result["notes"].size() > 1;
  for (const Json& note : result["notes"]) {
    const std::string verdict = Text(note["verdict"]);
    html +=
        "<p>" + (has_parts ? Badge(verdict) + " " : "") + EscapeHtml(Text(note["text"])) + "</p>";
  }
  return html;
}

std::string CheckRows(const CheckReport& report) {
  std::string rows;
  for (const auto& [number, result] : report.results) {
    const Check& check = FindCheck(number);
    rows +=
        Format("        <tr><td class=\"number\">%d</td><td>", number) +
        Badge(Text(result["verdict"])) + "</td><td>" + Element("strong", check.name) +
        Element("p", check.promise) + "</td><td>" + Notes(result) +
        Format("</td><td class=\"number\">%.1f s</td></tr>\n", result["ms"].get<double>() / 1e3);
  }
  return rows;
}

std::string LogText(const Json& log) {
  std::string text;
  for (const Json& line : log) {
    text += Format("%9.1f  %-7s  ", line["ms"].get<double>(), Text(line["level"]).c_str()) +
            Text(line["text"]) + "\n";
  }
  return text;
}

std::string Details(const CheckReport& report) {
  std::string html;
  for (const auto& [number, result] : report.results) {
    std::string content;
    for (const Json& picture : result["pictures"]) {
      content += R"(<figure><img alt="" src=")" + Text(picture["uri"]) + "\">" +
                 Element("figcaption", Text(picture["name"])) + "</figure>";
    }
    if (!result["figures"].empty()) content += Element("pre", Dump(result["figures"]));
    if (!result["log"].empty()) content += Element("pre", LogText(result["log"]));
    if (content.empty()) continue;
    html += "    <details><summary>" +
            EscapeHtml(Format("%d  %s", number, FindCheck(number).name)) + "</summary>" + content +
            "</details>\n";
  }
  return html;
}

}  // namespace

std::string ReportText(const CheckReport& report) {
  Json checks = Json::array();
  for (const auto& [number, result] : report.results) {
    const Check& check = FindCheck(number);
    Json entry = {{"number", number}, {"name", check.name}, {"promise", check.promise}};
    entry.update(result);
    entry.erase("pictures");
    checks.push_back(std::move(entry));
  }
  const Json json = {{"program", "quill-check"},
                     {"version", Version()},
                     {"time", TimeNow()},
                     {"answer", AnswerName(report.answer)},
                     {"exitCode", static_cast<int>(report.answer)},
                     {"seconds", report.seconds},
                     {"library", report.library},
                     {"machine", report.machine},
                     {"checks", std::move(checks)}};
  return Dump(json) + "\n";
}

std::string CheckPage(const CheckReport& report) {
  std::string chosen;
  if (const auto first_frame = report.results.find(2); first_frame != report.results.end()) {
    const Json& figures = first_frame->second.at("figures");
    if (figures.contains("adapter") && figures["adapter"].is_object()) {
      chosen = figures["adapter"]["luid"];
    }
  }
  const auto resource = [](const wchar_t* name) { return std::string(PageResource(name).value()); };
  const std::string answer = AnswerText(report.answer, report.results);
  return FillPage(resource(L"CHECK_HTML"), {{"title", "quill-check: " + EscapeHtml(answer)},
                                            {"style", resource(L"PAGE_CSS")},
                                            {"own-style", resource(L"CHECK_CSS")},
                                            {"answer-class", AnswerName(report.answer)},
                                            {"answer", EscapeHtml(answer)},
                                            {"facts", Facts(report)},
                                            {"checks", CheckRows(report)},
                                            {"adapters", AdapterRows(report.machine, chosen)},
                                            {"details", Details(report)}});
}

}  // namespace quill_apps
