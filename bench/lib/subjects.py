"""Who is measured. The order is that of the tables; a plot gives a subject the same colour everywhere."""

from harness import Subject

OURS = Subject("XelPushClient", "ours_receive", ours=True)
MOSQUITTO = Subject("libmosquitto, RapidJSON, SQLite", "peer_mosquitto")
PAHO = Subject("Paho C, RapidJSON, SQLite", "peer_paho")
FLOOR_PLAIN = Subject("floor: socket, simdjson, a plain log", "floor_receive", ("--log", "plain"))
FLOOR_SQLITE = Subject("floor: socket, simdjson, SQLite", "floor_receive", ("--log", "sqlite"))
BARE_MOSQUITTO = Subject("libmosquitto alone, nothing read", "bare_mosquitto")
BARE_SOCKET = Subject("socket alone, nothing read", "bare_socket")

PEERS = (MOSQUITTO, PAHO)
RECEIVING = (OURS, *PEERS, FLOOR_PLAIN, FLOOR_SQLITE)

OURS_DISK = Subject("XelPushClient, outbox on disk", "publish_ours", ("--memory", "disk"), ours=True)
OURS_RAM = Subject("XelPushClient, outbox in RAM", "publish_ours", ("--memory", "ram"), ours=True)
PUBLISHING = (OURS_DISK, OURS_RAM, Subject("libmosquitto (RAM)", "publish_mosquitto"),
              Subject("Paho C (RAM)", "publish_paho"))

CHANNELS = Subject("XelPushClient", "channels_ours", ours=True)
GATEWAY = Subject("XelPushClient", "gateway_ours", ours=True)

IDLE_LINUX = Subject("XelPushClient::Linux", "idle_linux", ours=True)
IDLE_HEADLESS = Subject("XelPushClient::Headless", "idle_headless", ours=True)
IDLE_HEADLESS_HTTP = Subject("XelPushClient::Headless, after a request by HTTPS", "idle_headless", ours=True)
IDLE = (IDLE_LINUX, IDLE_HEADLESS, IDLE_HEADLESS_HTTP, Subject("libmosquitto, RapidJSON, SQLite", "idle_mosquitto"),
        Subject("Paho C, RapidJSON, SQLite", "idle_paho"))
