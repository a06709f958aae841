// SpdlogRows.cpp - the same lines through spdlog's asynchronous logger, which flushes after every line as the
// library's log does.
#include "bench/LogLine.h"

#include <spdlog/async.h>
#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/spdlog.h>

#include <memory>

namespace ox3dbench {
namespace {

std::shared_ptr<spdlog::logger> Logger() {
    static const std::shared_ptr<spdlog::logger> logger = [] {
        spdlog::init_thread_pool(8192, 1);
        auto made = spdlog::basic_logger_mt<spdlog::async_factory>("bench", "spdlog.log");
        made->set_level(spdlog::level::info);
        made->flush_on(spdlog::level::info);
        return made;
    }();
    return logger;
}

} // namespace

void AddSpdlogRows() {
    AddBurstRow("log", "spdlog, asynchronous", [] {
        return [logger = Logger()](uint32_t number) {
            logger->info("frame ({}) type ({:#x}) height ({}) width ({}) len ({})", number, kLineType,
                         kLineHeight, kLineWidth, kLineBytes);
        };
    });
    AddLoopRow("debug line", "spdlog, asynchronous", [] {
        return [logger = Logger()](uint32_t number) {
            logger->debug("frame ({}) type ({:#x}) height ({}) width ({}) len ({})", number, kLineType,
                          kLineHeight, kLineWidth, kLineBytes);
        };
    });
}

} // namespace ox3dbench
