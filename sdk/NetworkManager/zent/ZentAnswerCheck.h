// The checks of a dispatch answer before its text is trusted: the header block is split into
// a map, "x-zn-code" must be exactly "1000", "x-zn-sign" must be present, and the client's own
// signature of the decoded text must equal it. Each check logs its own failure line and is
// callable on plain text, so a fuzz target can drive it. Any thread.
#pragma once

#include <map>
#include <string>

class IQuilSign;

class ZentAnswerCheck {
public:
    using Headers = std::map<std::string, std::string>;

    // Cuts header at each CR LF (a last piece without one is no line) and keeps, per line, the
    // text before the first ": " as key and the rest as value, case as received. Lines without
    // ": " are skipped; a later line replaces an earlier one of the same key.
    static Headers SplitHeaders(const std::string& header);

    // True when "x-zn-code" is exactly "1000" and "x-zn-sign" is not empty; serverSign then
    // receives the latter. Logs the failure otherwise.
    static bool CheckHeaders(const Headers& headers, std::string* serverSign);

    // Signs text through sign (wide road, method 2) and compares with serverSign. False, with
    // the failure logged, when the signature is missing or differs. sign must not be null.
    static bool CheckSign(IQuilSign* sign, const std::string& text, const std::string& serverSign);

    // The code the service answers on success.
    static constexpr char kSuccessCode[] = "1000";
};
