# Deployment values: the gateway hosts of each environment and the dispatch hosts. The defaults
# are placeholders under the reserved .example domain; a deployment sets its own at configure time.
# Gateway hosts: two families of hosts (the first serves requests whose domainMode is 1, the
# second every other domainMode), each with a daily test, a pre-release and a production host.
set(QUIL_GATEWAY_HOST_DAILY_1 "gw-daily-1.quil.example" CACHE STRING "gateway host, daily test environment (2), first family")
set(QUIL_GATEWAY_HOST_DAILY_2 "gw-daily-2.quil.example" CACHE STRING "gateway host, daily test environment (2), second family")
set(QUIL_GATEWAY_HOST_PRE_1 "gw-pre-1.quil.example" CACHE STRING "gateway host, pre-release environment (1), first family")
set(QUIL_GATEWAY_HOST_PRE_2 "gw-pre-2.quil.example" CACHE STRING "gateway host, pre-release environment (1), second family")
set(QUIL_GATEWAY_HOST_ONLINE_1 "gw-online-1.quil.example" CACHE STRING "gateway host, production environment (0), first family")
set(QUIL_GATEWAY_HOST_ONLINE_2 "gw-online-2.quil.example" CACHE STRING "gateway host, production environment (0), second family")
set(QUIL_DISPATCH_HOST_DAILY "zent-daily.quil.example" CACHE STRING "dispatch host, daily")
set(QUIL_DISPATCH_HOST_PRE "zent-pre.quil.example" CACHE STRING "dispatch host, pre")
set(QUIL_DISPATCH_HOST_ONLINE "zent-online.quil.example" CACHE STRING "dispatch host, online")
