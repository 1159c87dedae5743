#include "SpareJsonReader.h"

#include <json/json.h>

#include <atomic>
#include <memory>

namespace {

// The one reader kept between parses, or null while a parse has it. Held for the process: a
// reader is small, and a global root keeps it from counting as a leak.
std::atomic<Json::Reader*> spare{nullptr};

// Hands the reader back as the spare when the slot is free, or frees it; on every way out of
// the parse, the nesting limit's exception included.
struct Return {
    std::unique_ptr<Json::Reader> reader;
    ~Return() {
        Json::Reader* expected = nullptr;
        if (spare.compare_exchange_strong(expected, reader.get())) {
            static_cast<void>(reader.release());
        }
    }
};

}  // namespace

bool SpareJsonReader::Parse(const char* begin, const char* end, Json::Value& root) {
    Return taken{std::unique_ptr<Json::Reader>(spare.exchange(nullptr))};
    if (!taken.reader) {
        taken.reader.reset(new Json::Reader());
    }
    return taken.reader->parse(begin, end, root);
}
