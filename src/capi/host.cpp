// The host served from another language: the host contracts (message box,
// mouse pointer, message loop, unloading a form) and host-side objects whose
// members are callbacks.
#include "zmdb/runtime/host.h"

#include <algorithm>
#include <memory>

#include "capi_p.h"

namespace zmdb::capi {

namespace {

// Raises a callback's error number as the library's error.
void Check(int rc, std::string_view type, std::string_view member) {
  if (rc != 0) {
    rt::Raise(
        rc, rt::RuntimeErrorText(rc) + " (" + std::string(type) + "." + std::string(member) + ")");
  }
}

// An object of the host: each late-bound access is a callback.
class HostObject : public rt::Object {
 public:
  HostObject(std::string type, const zmdb_object_callbacks& callbacks, void* user)
      : type_(std::move(type)), callbacks_(callbacks), user_(user) {}
  ~HostObject() override {
    if (callbacks_.release) callbacks_.release(user_);
  }

  std::string TypeName() const override { return type_; }

  rt::Variant GetProperty(std::string_view name, const std::vector<rt::Variant>& index) override {
    if (!callbacks_.get) rt::Raise(rt::err::kNotSupported);
    LentValues lent(index);
    zmdb_value result{};
    Check(callbacks_.get(user_, std::string(name).c_str(), lent.data(), lent.size(), &result),
          type_, name);
    return FromC(result);
  }

  void SetProperty(std::string_view name, const rt::Variant& value,
                   const std::vector<rt::Variant>& index) override {
    if (!callbacks_.set) rt::Raise(rt::err::kNotSupported);
    LentValues lent(index);
    LentValues given({value});
    Check(callbacks_.set(user_, std::string(name).c_str(), given.data(), lent.data(), lent.size()),
          type_, name);
  }

  rt::Variant Call(std::string_view name, std::vector<rt::Variant>& args) override {
    if (!callbacks_.call) rt::Raise(rt::err::kNotSupported);
    LentValues lent(args);
    zmdb_value result{};
    Check(callbacks_.call(user_, std::string(name).c_str(), lent.data(), lent.size(), &result),
          type_, name);
    for (std::size_t i = 0; i < args.size(); ++i) {
      if (lent.Replaced(i)) args[i] = FromC(lent.at(i));
    }
    return FromC(result);
  }

 private:
  std::string type_;
  zmdb_object_callbacks callbacks_;
  void* user_;
};

// The host contracts served by callbacks; a missing callback behaves as the
// headless host does.
class CallbackHost : public rt::Host {
 public:
  CallbackHost(const zmdb_host_callbacks& callbacks, void* user)
      : callbacks_(callbacks), user_(user) {}

  int MsgBox(const std::string& prompt, int buttons, const std::string& title) override {
    if (!callbacks_.message_box) return rt::DefaultAnswer(buttons);
    const int answer = callbacks_.message_box(user_, prompt.c_str(), buttons, title.c_str());
    const std::vector<int> offered = rt::ButtonAnswers(buttons);
    if (std::find(offered.begin(), offered.end(), answer) == offered.end()) {
      return rt::DefaultAnswer(buttons);
    }
    return answer;
  }
  void SetMousePointer(int pointer) override {
    pointer_ = pointer;
    if (callbacks_.set_pointer) callbacks_.set_pointer(user_, pointer);
  }
  int MousePointer() const override { return pointer_; }
  void DoEvents() override {
    if (callbacks_.do_events) callbacks_.do_events(user_);
  }
  void Unload(rt::Object& form) override {
    if (!callbacks_.unload) return;
    zmdb_object lent{form.shared_from_this(), form.TypeName()};
    callbacks_.unload(user_, &lent);
  }

 private:
  zmdb_host_callbacks callbacks_;
  void* user_;
  int pointer_ = rt::kPointerDefault;
};

}  // namespace

}  // namespace zmdb::capi

using namespace zmdb;

extern "C" {

int zmdb_object_host(const char* type, const zmdb_object_callbacks* callbacks, void* user,
                     zmdb_object** out) {
  if (out) *out = nullptr;
  return capi::Edge([&] {
    if (!type || !callbacks || !out) {
      rt::RaiseDetailed(rt::err::kInvalidProcCall, "no type, callbacks or place");
    }
    *out = capi::NewHandle(std::make_shared<capi::HostObject>(type, *callbacks, user));
  });
}

int zmdb_set_host(const zmdb_host_callbacks* callbacks, void* user) {
  return capi::Edge([&] {
    if (callbacks) {
      rt::SetProcessHost(std::make_shared<capi::CallbackHost>(*callbacks, user));
    } else {
      auto headless = std::make_shared<rt::HeadlessHost>();
      headless->SetEcho(false);
      rt::SetProcessHost(headless);
    }
  });
}

}  // extern "C"
