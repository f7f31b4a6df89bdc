// Device events.
#pragma once

#define DBT_DEVICEARRIVAL 0x8000u
#define DBT_DEVICEREMOVECOMPLETE 0x8004u
