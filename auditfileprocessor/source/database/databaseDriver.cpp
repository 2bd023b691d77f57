#include "databaseDriver.h"

DatabaseDriver::Result DatabaseDriver::runHeld(bool /*opens*/,
                                               const std::vector<HeldStatement>& /*held*/,
                                               const BoundStatement* /*query*/, bool /*commits*/,
                                               std::vector<SqlDA::ColumnDescription>& /*columns*/) {
    Result result;
    result.status = kDatabaseFailed;
    result.message = "this database runs its statements one at a time";
    return result;
}
