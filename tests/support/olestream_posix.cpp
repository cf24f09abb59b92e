#include "support/OleStream.h"

namespace {

struct Object final : IStream {
    explicit Object(TOleBehaviour &what) : behaviour(what) {}

    unsigned long AddRef() override { return behaviour.AddReference(1); }
    unsigned long Release() override { return behaviour.AddReference(-1); }
    std::int32_t Read(void *bytes, unsigned long count, unsigned long *read) override {
        *read = behaviour.Read(bytes, count);
        return behaviour.readResult;
    }
    std::int32_t Write(void const *bytes, unsigned long count, unsigned long *written) override {
        *written = behaviour.Write(bytes, count);
        return behaviour.writeResult;
    }

    TOleBehaviour &behaviour;
};

} // namespace

TOleObject::TOleObject(TOleBehaviour &behaviour) : fStream(new Object(behaviour)) {}

TOleObject::~TOleObject() {
    delete static_cast<Object *>(fStream);
}
