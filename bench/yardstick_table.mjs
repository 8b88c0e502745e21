// Reads a table into memory with one of two readers of tables, on one thread, and prints the records.
//
//     node yardstick_table.mjs duckdb|polars FILE
const [, , reader, file] = process.argv;
let records;
if (reader === "duckdb") {
    const { DuckDBInstance } = await import("@duckdb/node-api");
    const instance = await DuckDBInstance.create(":memory:", { threads: "1" });
    const connection = await instance.connect();
    await connection.run(`create table t as select * from read_csv('${file}', nullstr = 'NA')`);
    const rows = await connection.runAndReadAll("select count(*) from t");
    records = Number(rows.getRows()[0][0]);
} else {
    const { default: polars } = await import("nodejs-polars");
    records = polars.readCSV(file, { nullValues: "NA" }).height;
}
console.log(records);
