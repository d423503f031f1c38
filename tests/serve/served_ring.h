// SPDX-License-Identifier: Apache-2.0
// A log that is served while a writer, simulated step by step, goes on.
#ifndef JORN_TESTS_SERVE_SERVED_RING_H
#define JORN_TESTS_SERVE_SERVED_RING_H

#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <utility>
#include <vector>

#include "http/request.h"
#include "log/names.h"
#include "serve/api.h"
#include "serve/served_logs.h"
#include "support/utc_zone.h"
#include "system/common_values.h"
#include "system/tool_run.h"

namespace test {

using Json = nlohmann::ordered_json;
inline constexpr char kToken[] = "0123456789abcdef0123456789abcdef";
using Given = std::vector<std::pair<std::string, std::string>>;

class ServeTest : public ToolTest {
protected:
    static constexpr uint32_t kTime = 1700000000;  ///< 2023-11-14 22:13:20.

    ServeTest() { makeDirectory("log"); }

    static std::string line(const std::string &text, uint32_t time = kTime, int level = 1, int slot = 0) {
        return dataLine(time, level, slot, text);
    }

    /// As the store does it: the former index becomes the backup, and is removed when the new one is written.
    void writeIndex(const std::string &positions, const std::string &log = "log") const {
        if (exists(log + "/index.csv")) {
            std::filesystem::rename(path(log + "/index.csv"), path(log + "/index.bak"));
        }
        write(log + "/index.csv", "version:1\n" + positions + "\n");
        std::filesystem::remove(path(log + "/index.bak"));
    }

    /// A file that is started afresh keeps its place on the medium.
    void start(int number, const std::string &bytes, const std::string &log = "log") const {
        write(log + "/" + std::to_string(number) + ".csv", bytes);
    }

    void append(int number, const std::string &bytes, const std::string &log = "log") const {
        std::ofstream(path(log + "/" + std::to_string(number) + ".csv"), std::ios::app | std::ios::binary)
            << bytes;
    }

    /// A log in a file, with the given lines.
    void makeLog(const std::string &bytes, const std::string &log = "log") const {
        makeDirectory(log);
        start(0, bytes, log);
        writeIndex("0,0", log);
    }

    void serve(const std::vector<std::string> &names = {"log"}, const tool::ApiTerms &terms = usualTerms()) {
        std::vector<tool::ServedLog> logs;
        for (const std::string &name : names) {
            tool::ServedLog log;
            log.name = name;
            log.path = path(name);
            log.names =
                tool::namesBeside(tool::StoreDirectory::openForReading(log.path)).value_or(tool::Names{});
            logs.push_back(std::move(log));
        }
        logs_ = std::make_unique<tool::ServedLogs>(std::move(logs));
        api_ = std::make_unique<tool::Api>(logs_.get(), terms);
        EXPECT_TRUE(logs_->refreshAll());
    }

    static tool::ApiTerms usualTerms() {
        tool::ApiTerms terms;
        terms.version = "1.2.3";
        terms.pace.lookEvery = std::chrono::milliseconds(10);
        terms.pace.changeEvery = std::chrono::milliseconds(20);
        return terms;
    }

    tool::WebAnswer answer(const std::string &name, const Given &parameters = {}) {
        tool::WebRequest request;
        request.method = "GET";
        request.path = "/api/" + name;
        request.parameters = parameters;
        return api_->answer(request);
    }

    /// The body of an answer with status 200.
    std::string body(const std::string &name, const Given &parameters = {}) {
        const tool::WebAnswer got = answer(name, parameters);
        EXPECT_EQ(got.status, 200) << got.body;
        return got.body;
    }

    Json json(const std::string &name, const Given &parameters = {}) {
        return Json::parse(body(name, parameters));
    }

    /// Status and body: "400 {...}".
    std::string refusal(const std::string &name, const Given &parameters) {
        const tool::WebAnswer got = answer(name, parameters);
        return std::to_string(got.status) + " " + got.body;
    }

    std::vector<std::string> texts(const Given &parameters = {}) {
        std::vector<std::string> all;
        const Json answer = json("items", parameters);
        for (const Json &item : answer["items"]) {
            all.push_back(item["text"]);
        }
        return all;
    }

    /// The cursor of the first item with this text.
    std::string cursorOf(const std::string &text) {
        const Json found = json("items", {{"q", "^" + text + "$"}, {"order", "oldest"}});
        EXPECT_GE(found["total"], 1) << text;
        return found["items"].empty() ? "" : std::string(found["items"][0]["cursor"]);
    }

    /// All that an answer sends bit by bit; "cut off" after it if it did not come to its end.
    static std::string sent(const tool::WebAnswer &answer) {
        std::string all;
        const bool isWhole = answer.send([&](std::string_view bytes) {
            all += bytes;
            return true;
        });
        return all + (isWhole ? "" : "cut off");
    }

    const UtcZone zone_;
    std::unique_ptr<tool::ServedLogs> logs_;
    std::unique_ptr<tool::Api> api_;
};

}  // namespace test

#endif
