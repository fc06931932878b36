#pragma once
#include <json/value.h>

namespace orin {

// An event shaped like the ones the module caches: the common properties, the point, details.
inline Json::Value TypicalEvent(int n) {
  Json::Value e;
  e["l"] = 1201;
  e["n"] = n;
  e["m"] = "3f2b9c1e7a6d4b0c8e5f1a2b3c4d5e6f";
  e["u"] = "dev_id_6f1c2a9e-4b7d-4e21-9a3c-5d8e7f6a1b2c";
  e["o"] = "Windows 10 Pro";
  e["w"] = 19045;
  e["re"] = "10.0";
  e["v"] = "12.4.1.217";
  e["la"] = "en";
  e["i"] = "Home";
  e["id"] = 20250114;
  e["t"] = 1795420800;
  e["p"]["xid"] = "ab12cd34";
  return e;
}

}  // namespace orin
