// A host program that knows the library only through its installed headers and shared object:
// it digests the text given as its argument with the process-wide MD5 instance and prints the
// digest.
#include <MD5.h>

#include <cstdio>
#include <cstring>
#include <string>

int main(int argc, char** argv) {
    const char* text = argc > 1 ? argv[1] : "";
    MD5* md5 = MD5::GetInstance();
    if (md5 == nullptr) return 2;
    md5->Reset();
    md5->Update(text, std::strlen(text));
    const std::string digest = md5->ToHexString();
    std::printf("%s\n", digest.c_str());
    return 0;
}
