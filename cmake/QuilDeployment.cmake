# Deployment values: the gateway hosts of each environment and the dispatch hosts. The defaults
# are placeholders under the reserved .example domain; a deployment sets its own at configure time.
set(QUIL_HOST_DAILY "gw-daily-1.quil.example" CACHE STRING "gateway host, environment 0 (daily)")
set(QUIL_HOST_DAILY_IPV6 "gw-daily-2.quil.example" CACHE STRING "gateway host, environment 0, second domain mode")
set(QUIL_HOST_PRE "gw-pre-1.quil.example" CACHE STRING "gateway host, environment 1 (pre)")
set(QUIL_HOST_PRE_IPV6 "gw-pre-2.quil.example" CACHE STRING "gateway host, environment 1, second domain mode")
set(QUIL_HOST_ONLINE "gw-online-1.quil.example" CACHE STRING "gateway host, environment 2 (online)")
set(QUIL_HOST_ONLINE_IPV6 "gw-online-2.quil.example" CACHE STRING "gateway host, environment 2, second domain mode")
set(QUIL_DISPATCH_HOST_DAILY "zent-daily.quil.example" CACHE STRING "dispatch host, daily")
set(QUIL_DISPATCH_HOST_PRE "zent-pre.quil.example" CACHE STRING "dispatch host, pre")
set(QUIL_DISPATCH_HOST_ONLINE "zent-online.quil.example" CACHE STRING "dispatch host, online")
