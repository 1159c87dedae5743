#include "ReceivedRequest.h"

namespace quil {

namespace {

std::string TrimBlanks(const std::string& text) {
    std::size_t begin = 0;
    std::size_t end = text.size();
    while (begin < end && (text[begin] == ' ' || text[begin] == '\t')) {
        ++begin;
    }
    while (end > begin && (text[end - 1] == ' ' || text[end - 1] == '\t')) {
        --end;
    }
    return text.substr(begin, end - begin);
}

}  // namespace

std::string AsciiLower(const std::string& text) {
    std::string lower = text;
    for (char& c : lower) {
        if (c >= 'A' && c <= 'Z') {
            c = static_cast<char>(c - 'A' + 'a');
        }
    }
    return lower;
}

bool ReceivedRequest::FindHeader(const std::string& name, std::string* value) const {
    const std::string wanted = AsciiLower(name);
    for (const std::string& line : headerLines) {
        const std::size_t colon = line.find(':');
        if (colon == std::string::npos) {
            continue;
        }
        if (AsciiLower(line.substr(0, colon)) == wanted) {
            *value = TrimBlanks(line.substr(colon + 1));
            return true;
        }
    }
    return false;
}

std::string ReceivedRequest::Header(const std::string& name) const {
    std::string value;
    FindHeader(name, &value);
    return value;
}

bool ReceivedRequest::HasHeader(const std::string& name) const {
    std::string ignored;
    return FindHeader(name, &ignored);
}

bool ParseRequestHead(const std::string& head, ReceivedRequest* request) {
    std::vector<std::string> lines;
    std::size_t start = 0;
    while (start < head.size()) {
        const std::size_t end = head.find("\r\n", start);
        if (end == std::string::npos) {
            break;
        }
        if (end == start) {
            break;  // the empty line ends the head
        }
        lines.push_back(head.substr(start, end - start));
        start = end + 2;
    }
    if (lines.empty()) {
        return false;
    }
    const std::string& requestLine = lines.front();
    const std::size_t firstBlank = requestLine.find(' ');
    const std::size_t lastBlank = requestLine.rfind(' ');
    if (firstBlank == std::string::npos || lastBlank == firstBlank) {
        return false;
    }
    request->method = requestLine.substr(0, firstBlank);
    request->target = requestLine.substr(firstBlank + 1, lastBlank - firstBlank - 1);
    request->httpVersion = requestLine.substr(lastBlank + 1);
    const std::size_t question = request->target.find('?');
    request->path = request->target.substr(0, question);
    request->query =
        question == std::string::npos ? std::string() : request->target.substr(question + 1);
    request->headerLines.assign(lines.begin() + 1, lines.end());
    return true;
}

}  // namespace quil
