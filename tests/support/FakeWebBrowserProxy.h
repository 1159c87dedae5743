// A host browser proxy for tests. The library only carries the pointer, so any instance
// stands for the host's.
#pragma once

#include "IWKWebBrowserProxy.h"

namespace quil {
namespace test {

class FakeWebBrowserProxy : public IWKWebBrowserProxy {};

}  // namespace test
}  // namespace quil
