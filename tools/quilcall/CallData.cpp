#include "CallData.h"

#include <json/json.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <limits>
#include <memory>
#include <sstream>

namespace quil {

namespace {

std::string Trim(const std::string& text) {
    const char* blanks = " \t\r\n";
    const std::size_t first = text.find_first_not_of(blanks);
    if (first == std::string::npos) {
        return std::string();
    }
    const std::size_t last = text.find_last_not_of(blanks);
    return text.substr(first, last - first + 1);
}

// The reader's first complaint ("* Line 1, Column 2\n  Missing '}' ...\n") as one line.
std::string OneLine(const std::string& reason) {
    std::string line;
    std::size_t start = 0;
    while (start < reason.size()) {
        std::size_t end = reason.find('\n', start);
        if (end == std::string::npos) {
            end = reason.size();
        }
        std::string part = Trim(reason.substr(start, end - start));
        if (part.rfind("* ", 0) == 0) {
            if (!line.empty()) {
                break;  // the first complaint is the one that matters
            }
            part = part.substr(2);
        }
        if (!part.empty()) {
            line += (line.empty() ? "" : ": ") + part;
        }
        start = end + 1;
    }
    return line;
}

// One member as AddData can carry it; false when it cannot (the data then goes raw).
bool ToMember(const std::string& key, const Json::Value& value, CallDataMember* member) {
    member->key = key;
    if (value.isString()) {
        member->kind = CallDataMember::Kind::kString;
        member->text = value.asString();
        return true;
    }
    if ((value.type() == Json::intValue || value.type() == Json::uintValue) && value.isInt()) {
        member->kind = CallDataMember::Kind::kInteger;
        member->integer = value.asInt();
        return true;
    }
    if (value.type() == Json::realValue) {
        member->kind = CallDataMember::Kind::kReal;
        member->real = value.asDouble();
        return true;
    }
    return false;
}

}  // namespace

bool ParseJsonCallData(const std::string& text, CallData* data, std::string* error) {
    Json::CharReaderBuilder builder;
    Json::CharReaderBuilder::strictMode(&builder.settings_);
    const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    Json::Value root;
    std::string reason;
    if (!reader->parse(text.data(), text.data() + text.size(), &root, &reason)) {
        *error = "not JSON (" + OneLine(reason) + ")";
        return false;
    }
    if (!root.isObject()) {
        *error = "not a JSON object";
        return false;
    }
    std::vector<CallDataMember> members;
    for (const std::string& key : root.getMemberNames()) {
        CallDataMember member;
        if (!ToMember(key, root[key], &member)) {
            data->kind = CallData::Kind::kRaw;
            data->raw = Trim(text);
            data->members.clear();
            return true;
        }
        members.push_back(member);
    }
    data->kind = CallData::Kind::kMembers;
    data->members = members;
    data->raw.clear();
    return true;
}

bool ReadWholeFile(const std::string& path, std::string* contents, std::string* error) {
    std::error_code ignored;
    if (std::filesystem::is_directory(path, ignored)) {
        *error = "is a directory";
        return false;
    }
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        *error = std::strerror(errno);
        return false;
    }
    std::ostringstream buffer;
    buffer << file.rdbuf();
    if (file.bad()) {
        *error = "read error";
        return false;
    }
    *contents = buffer.str();
    return true;
}

}  // namespace quil
