// The host guide quotes code only from the example programs: every ```cpp block of
// docs/host-guide.md names its file on its first line ("// examples/..."), and the rest of the
// block stands in that file, line for line, in one piece. The examples themselves are built and
// run by ExampleHostsTest, so a snippet that drifts from code that works fails here.
#include <gtest/gtest.h>

#include <fstream>
#include <sstream>
#include <string>
#include <vector>

namespace {

std::vector<std::string> ReadLines(const std::string& path, bool* found) {
    std::ifstream in(path);
    *found = static_cast<bool>(in);
    std::vector<std::string> lines;
    std::string line;
    while (std::getline(in, line)) lines.push_back(line);
    return lines;
}

struct Snippet {
    std::size_t firstLine = 0;  // 1-based line of the opening fence in the guide
    std::string file;           // as named on the block's first line
    std::vector<std::string> body;
};

std::vector<Snippet> CppSnippets(const std::vector<std::string>& guide) {
    std::vector<Snippet> snippets;
    for (std::size_t i = 0; i < guide.size(); ++i) {
        if (guide[i].rfind("```", 0) != 0 || guide[i] == "```") continue;
        Snippet snippet;
        snippet.firstLine = i + 1;
        const bool cpp = guide[i] == "```cpp";
        std::size_t j = i + 1;
        for (; j < guide.size() && guide[j] != "```"; ++j) snippet.body.push_back(guide[j]);
        i = j;
        if (!cpp) continue;
        const std::string marker = "// ";
        if (!snippet.body.empty() && snippet.body.front().rfind(marker, 0) == 0) {
            snippet.file = snippet.body.front().substr(marker.size());
            snippet.body.erase(snippet.body.begin());
        }
        snippets.push_back(snippet);
    }
    return snippets;
}

bool ContainsInOnePiece(const std::vector<std::string>& file,
                        const std::vector<std::string>& part) {
    if (part.empty() || part.size() > file.size()) return false;
    for (std::size_t start = 0; start + part.size() <= file.size(); ++start) {
        std::size_t k = 0;
        while (k < part.size() && file[start + k] == part[k]) ++k;
        if (k == part.size()) return true;
    }
    return false;
}

TEST(HostGuide, EveryCodeSnippetStandsInTheExampleItNames) {
    bool found = false;
    const std::vector<std::string> guide =
        ReadLines(std::string(QUIL_SOURCE_DIR) + "/docs/host-guide.md", &found);
    ASSERT_TRUE(found);
    const std::vector<Snippet> snippets = CppSnippets(guide);
    ASSERT_GE(snippets.size(), 4u);
    for (const Snippet& snippet : snippets) {
        SCOPED_TRACE("snippet at line " + std::to_string(snippet.firstLine));
        ASSERT_EQ(snippet.file.rfind("examples/", 0), 0u) << snippet.file;
        const std::vector<std::string> source =
            ReadLines(std::string(QUIL_SOURCE_DIR) + "/" + snippet.file, &found);
        ASSERT_TRUE(found) << snippet.file;
        EXPECT_TRUE(ContainsInOnePiece(source, snippet.body)) << snippet.file;
    }
}

TEST(HostGuide, ASnippetThatDriftsFromItsFileIsCaught) {
    const std::vector<std::string> file = {"int a = 1;", "int b = 2;", "int c = 3;"};
    EXPECT_TRUE(ContainsInOnePiece(file, {"int b = 2;", "int c = 3;"}));
    EXPECT_FALSE(ContainsInOnePiece(file, {"int a = 1;", "int c = 3;"}));
    EXPECT_FALSE(ContainsInOnePiece(file, {"int b = 2; "}));
    EXPECT_FALSE(ContainsInOnePiece(file, {}));
}

}  // namespace
