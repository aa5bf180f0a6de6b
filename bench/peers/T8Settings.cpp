#include <Qel/Settings/SettingFactory.h>
#include <Qel/Settings/SettingHolder.h>
#include <Qel/Settings/SettingStorageInifile.h>
#include <Qel/Settings/SettingsManager.h>
#include <boost/make_shared.hpp>

#include "Peers.h"

namespace bench {

namespace {

using Qel::Settings::SettingFactory;
using Qel::Settings::SettingHolder;
using Qel::Settings::SettingsManager;
using Qel::Settings::SettingStorageInifile;
using HolderPtr = boost::shared_ptr<SettingHolder>;

template <class T>
Value valueAs(const SettingHolder& holder) {
    return holder.getValue<T>();
}

// By the position of the type in `Value`, as a client knows the type of each of its settings.
constexpr Value (*kGet[])(const SettingHolder&) = {&valueAs<int>, &valueAs<bool>, &valueAs<double>,
                                                   &valueAs<std::string>,
                                                   &valueAs<std::vector<int>>};

boost::any anyOf(const Value& value) {
    return std::visit([](const auto& held) { return boost::any(held); }, value);
}

/// One manager for the files that are open at a time, as in a television's process.
std::shared_ptr<SettingsManager> managerOfProcess() {
    static std::weak_ptr<SettingsManager> current;
    auto manager = current.lock();
    if (!manager) {
        manager = std::make_shared<SettingsManager>();
        manager->factory(boost::make_shared<SettingFactory>());
        current = manager;
    }
    return manager;
}

class T8Settings : public Store {
public:
    T8Settings(const Settings& settings, const std::string& storageName)
        : Store(settings), storageName_(storageName) {}

    void open(const std::string& path) override {
        manager_ = managerOfProcess();
        storage_ = boost::make_shared<SettingStorageInifile>(storageName_, "", path,
                                                             SettingStorageInifile::Save_onDemand);
        manager_->registerStorage(storage_);
    }

    Value get(std::size_t position) const override {
        return kGet[kindOf(position)](*manager_->setting(names_[position]));
    }

    void set(std::size_t position, const Value& value) override {
        HolderPtr holder = manager_->setting(names_[position]);
        if (!holder) {
            holder = boost::make_shared<SettingHolder>(names_[position], anyOf(value));
            manager_->registerSetting(holder);
        }
        holder->setValue(anyOf(value));
    }

    void save(Durability durability) override {
        SettingStorageInifile::syncWrites(durability == Durability::kDurable);
        if (!storage_->save()) throw std::runtime_error("cannot save");
    }

    std::unique_ptr<Store> forAnotherThread() override {
        return std::make_unique<T8Settings>(*this);
    }

    bool keepsHandles() const override { return true; }

    Value getKept(std::size_t position) const override {
        return kGet[kindOf(position)](*kept(position));
    }

    void setKept(std::size_t position, const Value& value) override {
        kept(position)->setValue(anyOf(value));
    }

protected:
    void prepareName(const Setting& setting) override {
        names_.push_back(storageName_ + "/" + setting.fullName);
    }

private:
    const HolderPtr& kept(std::size_t position) const {
        if (kept_.empty()) {
            for (const std::string& name : names_) kept_.push_back(manager_->setting(name));
        }
        return kept_[position];
    }

    std::string storageName_;
    std::vector<std::string> names_;
    mutable std::vector<HolderPtr> kept_;
    std::shared_ptr<SettingsManager> manager_;
    boost::shared_ptr<SettingStorageInifile> storage_;
};

}  // namespace

std::unique_ptr<Store> makeT8Settings(const Settings& settings, const std::string& name) {
    return std::make_unique<T8Settings>(settings, name);
}

}  // namespace bench
