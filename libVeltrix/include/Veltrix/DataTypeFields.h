// How a data type declares its fields: once, as a list of (Required or Optional, type, name, default where there is
// one).
//
//     class Greeting : public VeltrixDataTypeBase {
//         VELTRIX_FIELDS(Greeting, (Required, std::string, words), (Optional, std::int32_t, volume, 3))
//     };
//
// makes get_words(), set_words(value), get_volume(), set_volume(value), has_volume(), Clone() and the table that the
// JSON form is read and written by. The name is also the JSON key. An optional field is written only when it was set;
// until then it reads as its default.
#pragma once

#include <Veltrix/DateTime.h>
#include <Veltrix/VeltrixDataTypeBase.h>

#include <cstdint>
#include <iterator>
#include <memory>
#include <span>
#include <string>
#include <type_traits>
#include <utility>
#include <variant>

namespace VeltrixDetail {

// Every type that a field can have; classes of data types nest.
using FieldPointer = std::variant<bool*, std::int32_t*, std::uint32_t*, std::int64_t*, double*, std::string*, DateTime*,
                                  VeltrixDataTypeBase*>;
using ConstFieldPointer = std::variant<const bool*, const std::int32_t*, const std::uint32_t*, const std::int64_t*,
                                       const double*, const std::string*, const DateTime*, const VeltrixDataTypeBase*>;

// One row of a data type's table. The operations take an object of the type that the row belongs to.
struct FieldInfo {
    const char* name;
    bool isOptional;
    bool (*isSet)(const VeltrixDataTypeBase& object);
    ConstFieldPointer (*read)(const VeltrixDataTypeBase& object);
    FieldPointer (*write)(VeltrixDataTypeBase& object);
    void (*markSet)(VeltrixDataTypeBase& object);
};

template <typename T>
struct RequiredField {
    static constexpr bool kIsOptional = false;
    static constexpr bool isSet = true;
    T value{};
    void MarkSet() {}
};

template <typename T>
struct OptionalField {
    static constexpr bool kIsOptional = true;
    T value{};
    bool isSet = false;
    void MarkSet() { isSet = true; }
};

// Numbers are handed out by value, everything else by reference.
template <typename T>
using FieldResult = std::conditional_t<std::is_arithmetic_v<T>, T, const T&>;

template <typename Object, auto Member>
constexpr FieldInfo MakeFieldInfo(const char* name) {
    using Field = std::remove_reference_t<decltype(std::declval<Object&>().*Member)>;
    return {name,
            Field::kIsOptional,
            [](const VeltrixDataTypeBase& object) { return (static_cast<const Object&>(object).*Member).isSet; },
            [](const VeltrixDataTypeBase& object) {
                return ConstFieldPointer(&(static_cast<const Object&>(object).*Member).value);
            },
            [](VeltrixDataTypeBase& object) { return FieldPointer(&(static_cast<Object&>(object).*Member).value); },
            [](VeltrixDataTypeBase& object) { (static_cast<Object&>(object).*Member).MarkSet(); }};
}

}  // namespace VeltrixDetail

// The list is walked by a macro that comes back to itself: three nested rescans are enough for 27 fields and more.
#define VELTRIX_PARENS ()
#define VELTRIX_RESCAN(...) VELTRIX_RESCAN2(VELTRIX_RESCAN2(VELTRIX_RESCAN2(__VA_ARGS__)))
#define VELTRIX_RESCAN2(...) VELTRIX_RESCAN1(VELTRIX_RESCAN1(VELTRIX_RESCAN1(__VA_ARGS__)))
#define VELTRIX_RESCAN1(...) VELTRIX_RESCAN0(VELTRIX_RESCAN0(VELTRIX_RESCAN0(__VA_ARGS__)))
#define VELTRIX_RESCAN0(...) __VA_ARGS__
#define VELTRIX_FOR_EACH(what, ...) __VA_OPT__(VELTRIX_RESCAN(VELTRIX_FOR_EACH_STEP(what, __VA_ARGS__)))
#define VELTRIX_FOR_EACH_STEP(what, first, ...) \
    what first __VA_OPT__(VELTRIX_FOR_EACH_AGAIN VELTRIX_PARENS(what, __VA_ARGS__))
#define VELTRIX_FOR_EACH_AGAIN() VELTRIX_FOR_EACH_STEP

#define VELTRIX_FIELD_ACCESSORS(kind, type, name, ...)                           \
private:                                                                         \
    VeltrixDetail::kind##Field<type> m_##name{__VA_OPT__(.value = __VA_ARGS__)}; \
                                                                                 \
public:                                                                          \
    VeltrixDetail::FieldResult<type> get_##name() const {                        \
        return m_##name.value;                                                   \
    }                                                                            \
    void set_##name(type newValue) {                                             \
        m_##name.value = std::move(newValue);                                    \
        m_##name.MarkSet();                                                      \
    }                                                                            \
    VELTRIX_FIELD_PRESENCE_##kind(name)

#define VELTRIX_FIELD_PRESENCE_Required(name)
#define VELTRIX_FIELD_PRESENCE_Optional(name) \
    bool has_##name() const {                 \
        return m_##name.isSet;                \
    }

#define VELTRIX_FIELD_ROW(kind, type, name, ...) VeltrixDetail::MakeFieldInfo<Self, &Self::m_##name>(#name),

#define VELTRIX_FIELDS(Class, ...)                                                                      \
    VELTRIX_FOR_EACH(VELTRIX_FIELD_ACCESSORS __VA_OPT__(, ) __VA_ARGS__)                                \
    using Self = Class;                                                                                 \
                                                                                                        \
public:                                                                                                 \
    std::unique_ptr<VeltrixDataTypeBase> Clone() const override {                                       \
        return std::make_unique<Class>(*this);                                                          \
    }                                                                                                   \
    std::span<const VeltrixDetail::FieldInfo> Fields() const override {                                 \
        /* The empty row at the end keeps the table of a type without fields lawful. */                 \
        static constexpr VeltrixDetail::FieldInfo kRows[] = {                                           \
            VELTRIX_FOR_EACH(VELTRIX_FIELD_ROW __VA_OPT__(, ) __VA_ARGS__) VeltrixDetail::FieldInfo{}}; \
        return std::span(kRows).first(std::size(kRows) - 1);                                            \
    }
