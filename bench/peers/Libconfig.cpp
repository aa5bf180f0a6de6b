#include <filesystem>
#include <libconfig.h++>

#include "Peers.h"

namespace bench {

namespace {

using libconfig::Setting;

struct Setter {
    Setting& group;
    const std::string& key;

    Setting& fresh(Setting::Type type) const {
        if (group.exists(key)) group.remove(key);
        return group.add(key, type);
    }
    Setting& scalar(Setting::Type type) const {
        return group.exists(key) ? group[key.c_str()] : group.add(key, type);
    }
    void operator()(int number) const { scalar(Setting::TypeInt) = number; }
    void operator()(bool flag) const { scalar(Setting::TypeBoolean) = flag; }
    void operator()(double number) const { scalar(Setting::TypeFloat) = number; }
    void operator()(const std::string& text) const { scalar(Setting::TypeString) = text; }
    void operator()(const std::vector<int>& numbers) const {
        Setting& array = fresh(Setting::TypeArray);
        for (const int number : numbers) array.add(Setting::TypeInt) = number;
    }
};

std::vector<int> arrayOf(const Setting& array) {
    std::vector<int> numbers;
    for (int i = 0; i < array.getLength(); ++i) numbers.push_back(array[i]);
    return numbers;
}

class LibconfigStore : public Store {
public:
    explicit LibconfigStore(const Settings& settings) : settings_(settings) {}

    void prepareNames() override {
        for (const bench::Setting& setting : settings_) {
            names_.push_back(setting.section + "." + setting.key);
        }
    }

    void open(const std::string& path) override {
        path_ = path;
        if (std::filesystem::exists(path)) config_.readFile(path.c_str());
    }

    Value get(std::size_t position) const override {
        const Setting& setting = config_.lookup(names_[position]);
        switch (settings_[position].value.index()) {
            case 0:
                return static_cast<int>(setting);
            case 1:
                return static_cast<bool>(setting);
            case 2:
                return static_cast<double>(setting);
            case 3:
                return std::string(setting.c_str());
            default:
                return arrayOf(setting);
        }
    }

    void set(std::size_t position, const Value& value) override {
        const bench::Setting& setting = settings_[position];
        Setting& root = config_.getRoot();
        Setting& group = root.exists(setting.section)
                             ? root[setting.section.c_str()]
                             : root.add(setting.section, Setting::TypeGroup);
        std::visit(Setter{group, setting.key}, value);
    }

    // Overwrites the file in place: no protection from a crash that a program could switch on.
    void save(Durability durability) override {
        config_.writeFile(path_.c_str());
        if (durability == Durability::kDurable) syncFile(path_);
    }

private:
    const Settings& settings_;
    std::vector<std::string> names_;
    libconfig::Config config_;
    std::string path_;
};

}  // namespace

std::unique_ptr<Store> makeLibconfig(const Settings& settings, const std::string&) {
    return std::make_unique<LibconfigStore>(settings);
}

}  // namespace bench
