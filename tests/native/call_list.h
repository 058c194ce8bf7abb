// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// Hand-written lists of calls, and how a recording is held against one.
//
// A list names objects by what they are for: the engine's by the engine's members ("oldSRV"), the
// session's by the session's ("frame_texture"). A call that makes an object says so with "= name".
// A line that begins with a blank goes on with the line before it, and $words stand for what
// differs from case to case. Calls that only ask (IsQuestion) are not listed.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <initializer_list>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "native/platform/calls.h"

namespace session_test {

using Calls = std::vector<std::string>;

inline bool IsNamePart(char c) {
  return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '_';
}

// The line with every word that `words` knows replaced.
inline std::string Replaced(const std::string& line,
                            const std::map<std::string, std::string>& words) {
  std::string result;
  for (size_t i = 0; i < line.size();) {
    size_t end = i;
    while (end < line.size() && IsNamePart(line[end])) ++end;
    if (end == i) {
      result += line[i++];
      continue;
    }
    const std::string word = line.substr(i, end - i);
    const auto found = words.find(word);
    result += found == words.end() ? word : found->second;
    i = end;
  }
  return result;
}

// "frame 1": what the $words of a list stand for.
using Words = std::map<std::string, std::string>;

inline Calls List(std::string_view text, const Words& words = {}) {
  Calls lines;
  for (size_t i = 0; i < text.size();) {
    const size_t end = std::min(text.find('\n', i), text.size());
    std::string line(text.substr(i, end - i));
    i = end + 1;
    for (size_t dollar = 0; (dollar = line.find('$', dollar)) != std::string::npos;) {
      size_t after = dollar + 1;
      while (after < line.size() && IsNamePart(line[after])) ++after;
      const std::string& word = words.at(line.substr(dollar + 1, after - dollar - 1));
      line.replace(dollar, after - dollar, word);
      dollar += word.size();
    }
    if (line.empty()) continue;
    if (line[0] == ' ') {
      lines.back() += line.substr(line.find_first_not_of(' ') - 1);
    } else {
      lines.push_back(line);
    }
  }
  return lines;
}

inline Calls Joined(std::initializer_list<Calls> lists) {
  Calls all;
  for (const Calls& list : lists) all.insert(all.end(), list.begin(), list.end());
  return all;
}

inline std::string Text(const Calls& calls) {
  std::string text;
  for (const std::string& line : calls) text += line + '\n';
  return text;
}

template <typename Keep>
Calls Only(const Calls& calls, Keep keep) {
  Calls kept;
  for (const std::string& line : calls) {
    if (keep(line)) kept.push_back(line);
  }
  return kept;
}

inline bool Has(const std::string& line, std::string_view part) {
  return line.find(part) != std::string::npos;
}

inline bool HasAny(const std::string& line, std::initializer_list<std::string_view> parts) {
  return std::any_of(parts.begin(), parts.end(),
                     [&](std::string_view part) { return Has(line, part); });
}

// Calls that only ask: a change of the library may leave one out or ask once more.
inline bool IsQuestion(const std::string& line) {
  return HasAny(line,
                {".GetDesc()", ".GetDesc1()", ".GetDevice()", ".GetImmediateContext()",
                 ".get_ContentSize()", ".get_Size()", ".IsPropertyPresent(", ".QueryInterface("});
}

// A recording without what is the projection's own business: how it finds statics, how its revokers
// hold their source, and how long its temporary objects live.
inline Calls WithoutProjection(const Calls& recording) {
  return Only(recording, [](const std::string& line) {
    return !HasAny(line, {".GetWeakReference()", ".Resolve(", "IDirect3D11CaptureFramePoolStatics)",
                          "IApiInformationStatics)", "~item_factory", "~pool_statics",
                          "~api_information", "~surface", "~weakref"});
  });
}

// Without the lines that tell when an object is gone for good.
inline Calls WithoutEnds(const Calls& recording) {
  return Only(recording, [](const std::string& line) { return line[0] != '~'; });
}

// The names of a list in place of the platform's.
class Names {
 public:
  void Give(const std::string& platform_name, const std::string& name) {
    names_[platform_name] = name;
  }

  void Forget(std::initializer_list<std::string> names) {
    std::erase_if(names_, [&](const auto& entry) {
      return std::find(names.begin(), names.end(), entry.second) != names.end();
    });
  }

  bool Know(const std::string& name) const {
    return std::any_of(names_.begin(), names_.end(),
                       [&](const auto& entry) { return entry.second == name; });
  }

  // The recording with the names of the list and without questions; equals `expected` when the two
  // agree. What a call makes gets its name from the same call of the list.
  Calls Named(const Calls& all, const Calls& expected) {
    const Calls recording = Only(all, [](const std::string& line) { return !IsQuestion(line); });
    Calls named;
    for (size_t i = 0; i < recording.size(); ++i) {
      const auto [call, made] = Parts(recording[i]);
      const std::string named_call = Replaced(WithoutNumber(call), names_);
      if (!made.empty() && i < expected.size()) {
        const auto [expected_call, expected_names] = Parts(expected[i]);
        if (named_call == expected_call) NameAll(made, expected_names);
      }
      named.push_back(made.empty() ? named_call : named_call + " = " + Replaced(made, names_));
    }
    return named;
  }

  // The same as text, of which a test that fails shows the differences.
  std::string Read(const Calls& recording, const Calls& expected) {
    return Text(Named(recording, expected));
  }

 private:
  struct LineParts {
    std::string call;
    std::string made;
  };

  static LineParts Parts(const std::string& line) {
    const size_t equals = line.find(") = ");
    if (equals == std::string::npos) return {line, ""};
    return {line.substr(0, equals + 1), line.substr(equals + 4)};
  }

  // The statics come anew each time; which of them answers makes no difference.
  static std::string WithoutNumber(const std::string& call) {
    return call.starts_with("pool_statics") ? "pool_statics" + call.substr(call.find('.')) : call;
  }

  // "device1, context1" by "device, context".
  void NameAll(const std::string& made, const std::string& names) {
    size_t from = 0;
    size_t to = 0;
    while (from < made.size() && to < names.size()) {
      const size_t made_end = std::min(made.find(", ", from), made.size());
      const size_t name_end = std::min(names.find(", ", to), names.size());
      names_[made.substr(from, made_end - from)] = names.substr(to, name_end - to);
      from = made_end + 2;
      to = name_end + 2;
    }
  }

  std::map<std::string, std::string> names_;
};

}  // namespace session_test
