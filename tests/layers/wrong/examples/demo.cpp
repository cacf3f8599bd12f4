// Examples use the component object, not the automation interface.
#include "zmdb/frame/component.h"
#include <zmdb/automation/session.h>
