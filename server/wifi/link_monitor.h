// The thread that watches the link (connection.h starts and probes it).
#pragma once

// Ends it; on the monitor thread itself it only asks. Any thread.
void wifi_monitor_stop();
