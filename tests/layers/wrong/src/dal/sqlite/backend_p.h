// A private header of the file store.
#pragma once
