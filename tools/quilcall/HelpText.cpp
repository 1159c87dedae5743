#include "HelpText.h"

namespace quil {

std::string HelpText() {
    return R"(usage: quilcall [options] API VERSION
       quilcall [options] [API VERSION] --dispatch DOMAIN [--dispatch-failed HOST]...
Makes one gateway call through QuilSDK and the curl transport, and prints the answer, and
when the traffic protection acted on it: a resend on the security library's verdict, a ban it
started, or a refusal by a ban without a request going out.
API and VERSION stand in the gateway path "/gw/API/VERSION/": neither may hold a blank,
"/", "?", "#" or a control character.

Where and who:
  --env daily|pre|online   gateway environment (default daily)
  --host HOST[:PORT]       gateway host of the chosen environment (no scheme, no path)
  --appkey KEY             application key (a call without one fails locally)
  --app-name NAME          application name
  --app-version VERSION    application version
  --utdid ID               device identifier
  --ttid ID                channel identifier
  --devid ID               device id
  --auth-code CODE         auth code handed to the signing library
  --features N             feature bits (sent when above 0)
  --lat DEGREES            latitude (sent together with --lng)
  --lng DEGREES            longitude (sent together with --lat)
  --sid SID                session id registered for every call's account
  --uid UID                user id that goes with --sid
  --login-sid SID          log in through the test kit's scripted login, which succeeds with
                           this session: the session counts as valid at first, and when the
                           gateway declares it expired an asynchronous call waits for the
                           login and is sent again with SID (a synchronous one fails)
  --login-uid UID          user id that goes with --login-sid
  --ssl-value TEXT         TLS value handed to the transport with --ssl
  --proxy URL              HTTP proxy for the call, e.g. http://10.0.0.1:3128
  --security-path PATH     path of the security library, relative to quilcall's directory
  --no-security            keep the traffic-protection side of the security library unloaded

The call:
  --data JSON              call data, a JSON object (flat string and number members go
                           through the request's own layout, anything else as given)
  --data-file FILE         the same, read from FILE
  --raw-data TEXT          call data sent exactly as TEXT
  --get                    GET instead of POST
  --ssl                    https instead of http
  --header NAME:VALUE      extra request header (repeatable)
  --param KEY=VALUE        extra query parameter, key and value percent-encoded (repeatable)
  --need-login             the call needs a session (sends x-sid and x-uid)
  --user ACCOUNT           account whose session the call uses (default "Default")
  --async                  send through the asynchronous road and wait for the callback
  --repeat N               make the same call N times in a row (1 to 100), e.g. to see a
                           flow-control ban refuse the later calls locally
  --network-type TYPE      2g, 3g or wifi
  --reqbiz-ext TEXT        x-reqbiz-ext
  --open-biz TEXT          x-open-biz
  --mini-appkey TEXT       x-mini-appkey
  --req-appkey TEXT        x-req-appkey
  --act TEXT               x-act
  --open-biz-data TEXT     x-open-biz-data
  --miniapp-id-tarvel TEXT x-miniapp-id-tarvel
  --miniapp-id-pelmay TEXT x-miniapp-id-pelmay
  --ext-data TEXT          x-extdata
  --ext-type TEXT          x-exttype
  --domain-mode N          1 picks the first gateway host family, anything else the second

Domain dispatch (after the call, when API and VERSION are given too):
  --dispatch DOMAIN        ask the SDK's strategy table for DOMAIN's address, waiting for the
                           background request to the dispatch service (within --timeout), and
                           print it. The request is signed only once the security library has
                           started, which a call does: give API VERSION too against a service
                           that checks the sign
  --dispatch-failed HOST   report the address handed out for HOST as failed (repeatable, in
                           order, after --dispatch); DOMAIN's address is printed again after each

Transport and output:
  --connect-to H:P:A:P     connect to address A:P for host H:P, URL unchanged (repeatable)
  --timeout SECONDS        longest time for the whole exchange (default 30)
  --insecure               do not check the server's TLS certificate
  --log-level 0..4         SDK log lines from this level up, on standard error
  --json                   print one JSON object instead of text
  --timing                 draw where the time went (sign, compose, network, parse, filters)
  --help                   this text

Exit codes: 0 success, 1 the gateway refused the call (errorType 3),
2 a local or network failure, 64 a usage error.
)";
}

}  // namespace quil
