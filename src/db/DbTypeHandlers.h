#pragma once

// How the table records go in and out of SQLite through Poco::Data: one column list per
// record, in table order, and one generic handler that walks it to bind, prepare and extract.

#include <Poco/Data/TypeHandler.h>
#include <Poco/Types.h>

#include <cstddef>
#include <string>
#include <tuple>
#include <utility>

#include "db/DbRows.h"
#include "platform/porting/string_convert.h"

namespace vx_transfers {
namespace db_columns {

using Binder = Poco::Data::AbstractBinder::Ptr;
using Direction = Poco::Data::AbstractBinder::Direction;
using Extractor = Poco::Data::AbstractExtractor::Ptr;
using Preparator = Poco::Data::AbstractPreparator::Ptr;

// The columns of each record, in the order of its table.
template <typename Row>
struct RowColumns;

template <>
struct RowColumns<db_rows::UploadGroup> {
    template <typename R>
    static auto of(R& r) {
        return std::tie(r.bucketUid, r.bucketToken, r.bucketType, r.expirationDate, r.groupId,
                        r.paused, r.marked, r.retryCount);
    }
};

template <>
struct RowColumns<db_rows::UploadFile> {
    template <typename R>
    static auto of(R& r) {
        return std::tie(r.fileUid, r.fileUrl, r.url, r.parentGroupId, r.uploadId);
    }
};

template <>
struct RowColumns<db_rows::UploadChannelRow> {
    template <typename R>
    static auto of(R& r) {
        return std::tie(r.fileUid, r.url, r.offset, r.bytesToUpload, r.state, r.httpHeaderName,
                        r.httpHeaderValue);
    }
};

template <>
struct RowColumns<db_rows::DownloadGroup> {
    template <typename R>
    static auto of(R& r) {
        return std::tie(r.bucketUid, r.bucketToken, r.bucketType, r.expirationDate, r.groupId,
                        r.paused, r.downloadPath, r.retryCount);
    }
};

template <>
struct RowColumns<db_rows::DownloadFile> {
    template <typename R>
    static auto of(R& r) {
        return std::tie(r.fileId, r.path, r.fileSize, r.modificationDate, r.md5, r.parentGroupId,
                        r.tmpFileName);
    }
};

template <>
struct RowColumns<db_rows::DownloadChannel> {
    template <typename R>
    static auto of(R& r) {
        return std::tie(r.fileUid, r.offset, r.bytesToTransfer, r.state);
    }
};

// The SQL type of each field type: text, 64-bit unsigned, 32-bit signed and unsigned, bool.
// Wide strings travel as UTF-8 text.
template <typename Field>
struct Stored {
    using type = Field;
};
template <>
struct Stored<unsigned long long> {
    using type = Poco::UInt64;
};
template <>
struct Stored<std::wstring> {
    using type = std::string;
};

template <typename Field>
typename Stored<Field>::type toStored(const Field& value) {
    return value;
}
inline std::string toStored(const std::wstring& value) {
    std::string utf8;
    string_convert::WStringToString(value, utf8);
    return utf8;
}

template <typename Field>
void fromStored(const typename Stored<Field>::type& stored, Field& out) {
    out = static_cast<Field>(stored);
}
inline void fromStored(const std::string& stored, std::wstring& out) {
    string_convert::StringToWstring(stored, out);
}

// Each step below uses the column at `pos` and moves `pos` on. The SQLite binder copies
// what it is given at once, so binding a converted temporary is safe.
template <typename Field>
void bindColumn(std::size_t& pos, const Field& value, Binder& binder, Direction dir) {
    const typename Stored<Field>::type stored = toStored(value);
    binder->bind(pos++, stored, dir);
}

template <typename Field>
void prepareColumn(std::size_t& pos, const Field& value, Preparator& preparator) {
    const typename Stored<Field>::type stored = toStored(value);
    preparator->prepare(pos++, stored);
}

// A NULL column leaves the default that the caller gave for the record.
template <typename Field>
void extractColumn(std::size_t& pos, Field& out, const Field& defaultValue, Extractor& extractor) {
    typename Stored<Field>::type stored{};
    if (extractor->extract(pos++, stored)) {
        fromStored(stored, out);
    } else {
        out = defaultValue;
    }
}

// The body of every record's Poco::Data::TypeHandler.
template <typename Row>
class RowTypeHandler : public Poco::Data::AbstractTypeHandler {
public:
    static std::size_t size() {
        return std::tuple_size<decltype(RowColumns<Row>::of(std::declval<Row&>()))>::value;
    }

    static void bind(std::size_t pos, const Row& row, Binder binder, Direction dir) {
        std::apply([&](const auto&... field) { (bindColumn(pos, field, binder, dir), ...); },
                   RowColumns<Row>::of(row));
    }

    static void prepare(std::size_t pos, const Row& row, Preparator preparator) {
        std::apply([&](const auto&... field) { (prepareColumn(pos, field, preparator), ...); },
                   RowColumns<Row>::of(row));
    }

    static void extract(std::size_t pos, Row& row, const Row& defaultRow, Extractor extractor) {
        auto fields = RowColumns<Row>::of(row);
        auto defaults = RowColumns<Row>::of(defaultRow);
        extractEach(pos, fields, defaults, extractor,
                    std::make_index_sequence<std::tuple_size<decltype(fields)>::value>());
    }

private:
    template <typename Fields, typename Defaults, std::size_t... I>
    static void extractEach(std::size_t pos, Fields& fields, const Defaults& defaults,
                            Extractor& extractor, std::index_sequence<I...>) {
        (extractColumn(pos, std::get<I>(fields), std::get<I>(defaults), extractor), ...);
    }
};

}  // namespace db_columns
}  // namespace vx_transfers

namespace Poco {
namespace Data {

template <>
class TypeHandler<vx_transfers::db_rows::UploadGroup>
    : public vx_transfers::db_columns::RowTypeHandler<vx_transfers::db_rows::UploadGroup> {};

template <>
class TypeHandler<vx_transfers::db_rows::UploadFile>
    : public vx_transfers::db_columns::RowTypeHandler<vx_transfers::db_rows::UploadFile> {};

template <>
class TypeHandler<vx_transfers::db_rows::UploadChannelRow>
    : public vx_transfers::db_columns::RowTypeHandler<vx_transfers::db_rows::UploadChannelRow> {};

template <>
class TypeHandler<vx_transfers::db_rows::DownloadGroup>
    : public vx_transfers::db_columns::RowTypeHandler<vx_transfers::db_rows::DownloadGroup> {};

template <>
class TypeHandler<vx_transfers::db_rows::DownloadFile>
    : public vx_transfers::db_columns::RowTypeHandler<vx_transfers::db_rows::DownloadFile> {};

template <>
class TypeHandler<vx_transfers::db_rows::DownloadChannel>
    : public vx_transfers::db_columns::RowTypeHandler<vx_transfers::db_rows::DownloadChannel> {};

}  // namespace Data
}  // namespace Poco
