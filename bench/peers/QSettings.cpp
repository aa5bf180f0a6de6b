#include <QSettings>
#include <QStringList>
#include <QVariant>

#include "Peers.h"

namespace bench {

namespace {

struct ToVariant {
    QVariant operator()(int number) const { return number; }
    QVariant operator()(bool flag) const { return flag; }
    QVariant operator()(double number) const { return number; }
    QVariant operator()(const std::string& text) const { return QString::fromStdString(text); }
    QVariant operator()(const std::vector<int>& numbers) const {
        QVariantList list;
        for (const int number : numbers) list.append(number);
        return list;
    }
};

std::vector<int> arrayOf(const QVariant& value) {
    std::vector<int> numbers;
    for (const QVariant& number : value.toList()) numbers.push_back(number.toInt());
    return numbers;
}

class QSettingsStore : public Store {
public:
    using Store::Store;

    void open(const std::string& path) override {
        path_ = path;
        file_ = std::make_unique<QSettings>(QString::fromStdString(path), QSettings::IniFormat);
        // The file is read when somebody asks for something.
        static_cast<void>(file_->contains(QStringLiteral("s0/k0")));
    }

    Value get(std::size_t position) const override {
        const QVariant value = file_->value(names_[position]);
        switch (kindOf(position)) {
            case 0:
                return value.toInt();
            case 1:
                return value.toBool();
            case 2:
                return value.toDouble();
            case 3:
                return value.toString().toStdString();
            default:
                return arrayOf(value);
        }
    }

    void set(std::size_t position, const Value& value) override {
        file_->setValue(names_[position], std::visit(ToVariant(), value));
    }

    // Writes through a file of its own that it syncs and renames, durable or not.
    void save(Durability) override {
        file_->sync();
        if (file_->status() != QSettings::NoError) {
            throw std::runtime_error("QSettings cannot save");
        }
    }

    // One object for each thread, all over the same values in memory.
    std::unique_ptr<Store> forAnotherThread() override {
        auto other = std::make_unique<QSettingsStore>(settings());
        other->prepareNames();
        other->open(path_);
        return other;
    }

protected:
    void prepareName(const Setting& setting) override {
        names_.push_back(QString::fromStdString(setting.fullName));
    }

private:
    std::vector<QString> names_;
    std::string path_;
    std::unique_ptr<QSettings> file_;
};

}  // namespace

std::unique_ptr<Store> makeQSettings(const Settings& settings, const std::string&) {
    return std::make_unique<QSettingsStore>(settings);
}

}  // namespace bench
