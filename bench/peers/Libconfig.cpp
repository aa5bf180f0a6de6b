#include <filesystem>
#include <libconfig.h++>

#include "Peers.h"

namespace bench {

namespace {

using libconfig::Setting;

// By the position of the type in `Value`.
constexpr Setting::Type kTypes[] = {Setting::TypeInt, Setting::TypeBoolean, Setting::TypeFloat,
                                    Setting::TypeString, Setting::TypeArray};

struct Setter {
    Setting& setting;

    template <class T>
    void operator()(const T& scalar) const {
        setting = scalar;
    }
    void operator()(const std::vector<int>& numbers) const {
        const int size = static_cast<int>(numbers.size());
        while (setting.getLength() < size) setting.add(Setting::TypeInt);
        for (int i = 0; i < size; ++i) setting[i] = numbers[static_cast<std::size_t>(i)];
    }
};

std::vector<int> arrayOf(const Setting& array) {
    std::vector<int> numbers;
    for (int i = 0; i < array.getLength(); ++i) numbers.push_back(array[i]);
    return numbers;
}

class LibconfigStore : public Store {
public:
    using Store::Store;

    void open(const std::string& path) override {
        path_ = path;
        if (std::filesystem::exists(path)) config_.readFile(path.c_str());
    }

    Value get(std::size_t position) const override {
        const Setting& setting = config_.lookup(names_[position]);
        switch (kindOf(position)) {
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
        std::visit(Setter{found(position)}, value);
    }

    // Overwrites the file in place: no protection from a crash that a program could switch on.
    void save(Durability durability) override {
        config_.writeFile(path_.c_str());
        if (durability == Durability::kDurable) syncFile(path_);
    }

protected:
    void prepareName(const bench::Setting& setting) override {
        names_.push_back(setting.section + "." + setting.key);
    }

private:
    // A setting is there but for its first time.
    Setting& found(std::size_t position) {
        try {
            return config_.lookup(names_[position]);
        } catch (const libconfig::SettingNotFoundException&) {
            const bench::Setting& setting = settings()[position];
            Setting& root = config_.getRoot();
            Setting& group = root.exists(setting.section)
                                 ? root[setting.section.c_str()]
                                 : root.add(setting.section, Setting::TypeGroup);
            return group.add(setting.key, kTypes[kindOf(position)]);
        }
    }

    std::vector<std::string> names_;
    libconfig::Config config_;
    std::string path_;
};

}  // namespace

std::unique_ptr<Store> makeLibconfig(const Settings& settings, const std::string&) {
    return std::make_unique<LibconfigStore>(settings);
}

}  // namespace bench
